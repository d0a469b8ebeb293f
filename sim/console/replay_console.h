// The console over a log: everything as it was at a time, which stands still, runs or is moved by whoever looks. All
// viewers see the same time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/console/log_file.h"
#include "sim/console/viewer_hub.h"

namespace ravd::sim {

class replay_console : public page_source {
  public:
    explicit replay_console(event_loop& loop);

    // Opens the log and the port, prints where, and reads the log a piece at a time while the loop runs. False with the
    // reason in `error`.
    bool start(const web_options& options, std::string& error);

    page_state state() override;
    json_ptr hello() override;
    link_state link(unsigned) override { return {}; }
    json_ptr last_frame() override { return clock_frame(); }
    json_ptr answer(const std::string& type, json_object* request, std::string& error) override;

  private:
    struct checkpoint {
        std::uint64_t position;  // entries that went into it
        domain_model::agents_map agents;
    };
    void load();
    void loaded();
    json_ptr clock_frame() const;
    // Brings the domain to where the first `position` entries leave it.
    void move_to(std::uint64_t position);
    // The next entry, which is left in `line`.
    domain_model::change step(parsed_line& line);
    void seek(std::int64_t time_ms);
    void tick();
    // Applies entries up to the clock, as far as the time for it reaches, and tells the viewers.
    void play_on();

    event_loop& loop_;
    std::string name_;
    log_file log_;
    domain_model domain_;
    load_history loads_;
    client_history clients_;
    std::vector<checkpoint> checkpoints_;
    std::uint64_t position_ = 0;  // entries that have happened
    std::int64_t time_ms_ = 0;
    std::int64_t ticked_ms_ = 0;  // monotonic time of the last tick
    double speed_ = 0;            // 0: it stands still
    bool loading_ = true;
    bool seeking_ = false;
    int ticks_ = 0;
    viewer_hub hub_;
};

}  // namespace ravd::sim
