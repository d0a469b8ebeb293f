// Where commands come from: standard input and the clients of the control socket, one line a command.
#pragma once

#include <poll.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace ravd::lab {

// "wait EVENT SECONDS": the following lines of the same source wait.
struct wait_request {
    bool active = false;
    std::string event;   // empty: only the time
    unsigned agent = 0;  // 0: any
    double seconds = 0;
};

struct line_result {
    bool good = true;
    std::string reply;  // lines; the last without its end
    wait_request wait;
};

class line_handler {
  public:
    virtual ~line_handler() = default;
    virtual line_result handle_line(const std::string& line) = 0;
    // A state that was reached before counts too.
    virtual bool already(const wait_request& wait) const = 0;
    virtual void wait_failed(const wait_request& wait) = 0;
};

class console {
  public:
    explicit console(line_handler& handler) : handler_(handler) {}
    ~console();
    console(const console&) = delete;
    console& operator=(const console&) = delete;

    void add_standard_input();
    // Listens on a Unix socket at `path`, taking the place of one that nobody serves any more.
    bool listen_on(const std::string& path, std::string& error);

    void poll_entries(std::vector<pollfd>& entries);
    // `now` in seconds, for waits.
    void turn(const pollfd* entries, double now);

    // Something happened that a line may wait for.
    void event(const std::string& name, unsigned agent);

  private:
    struct source {
        int in = -1;
        bool standard = false;
        bool ended = false;
        std::string input;
        std::size_t scanned = 0;  // no line end stands before this place
        std::string output;
        std::uint64_t mark = 0;  // events up to here are spent
        wait_request wait;
        double deadline = 0;
    };
    struct happened {
        std::uint64_t number;
        std::string name;
        unsigned agent;
    };

    void accept_client();
    void read_input(source& s);
    void run_lines(source& s, double now);
    bool wait_is_over(source& s, double now);
    void spend(source& s, std::uint64_t number);
    void reply(source& s, const std::string& text, bool finished, bool good);
    void write_output(source& s);

    line_handler& handler_;
    int listen_fd_ = -1;
    std::string path_;
    std::deque<source> sources_;
    std::deque<happened> events_;
    std::uint64_t next_event_ = 1;
    // Where a new client starts: behind what the commands of the clients before it have spent, so that a script may
    // connect anew for every line.
    std::uint64_t control_mark_ = 0;
    std::size_t polled_ = 0;
};

}  // namespace ravd::lab
