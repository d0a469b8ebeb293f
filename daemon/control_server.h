// Status and orders for who looks after the daemon on the device.
#pragma once

#include <sys/select.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/worker.h"
#include "platform/unique_fd.h"

namespace ravd {

// A Unix stream socket that only its owner may use. Each line is an order, each answer a line with one JSON object:
//   status           what the daemon and its workers tell of themselves
//   log-level MASK   another log mask until the next start
//   reconnect        ends the link; the next attempt follows as after any lost link
// Served by the thread that waits for the workers, which is woken only when somebody asks. All calls on that thread.
class control_server {
  public:
    // `facts`: members of the status that stay as they are.
    explicit control_server(std::string facts) : facts_(std::move(facts)) {}
    ~control_server();
    control_server(const control_server&) = delete;
    control_server& operator=(const control_server&) = delete;

    // Listens at `path`, whose directory is made when it is missing. A path that cannot be had (another daemon serves
    // it, no permission, too long) is a warning: the daemon goes on without.
    void listen_at(const std::string& path);
    // `worker` is asked for its part of the status. It outlives the last serve().
    void ask_also(abstract_worker& worker) { workers_.push_back(&worker); }
    void on_reconnect(std::function<void()> reconnect) { reconnect_ = std::move(reconnect); }

    // Adds what there is to wait for; returns the milliseconds until something is due anyway, -1: nothing is.
    std::int64_t prepare(fd_set& readable, int& highest) const;
    // Does what `readable` and the clock call for. Never waits.
    void serve(const fd_set& readable);

  private:
    struct client {
        unique_fd fd;
        std::string line;
        unsigned waits = 0;  // for so many answers with the status
    };

    void accept_client();
    bool read_line(client& from);
    bool obey(client& from, const std::string& order);
    bool all_told() const;
    std::string status() const;
    static bool answer(const client& to, const std::string& object, unsigned times = 1);

    std::string facts_;
    std::string path_;  // bound; empty: none
    unique_fd listener_;
    unique_fd told_;  // event descriptor: workers that told
    std::vector<abstract_worker*> workers_;
    std::vector<client> clients_;
    std::function<void()> reconnect_;
    std::int64_t deadline_ms_ = 0;  // of the status that is asked for; 0: none is
};

}  // namespace ravd
