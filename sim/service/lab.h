// The lab service: agents, their messages, the commands of the user, all on one thread.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "sim/service/agent.h"
#include "sim/service/console.h"
#include "sim/service/message_log.h"
#include "sim/service/options.h"
#include "sim/service/plan_desk.h"
#include "sim/service/server.h"

namespace ravd::sim {

class lab : public server_listener, public line_handler {
  public:
    explicit lab(const service_options& options);

    // Opens the port and the files. False with the reason in `error`.
    bool start(std::string& error);
    // Serves until "quit", a signal or the end of an automatic run. The exit status.
    int run();
    // From a signal handler's pipe.
    void stop_on(int fd);

    // What looks on beside the terminal: it is told of everything that the log would hold, on this loop. It outlives
    // the lab's run, or is taken away by null.
    void observe(log_listener* observer) { log_.tell(observer); }
    event_loop& loop() { return loop_; }

    // For the commands:
    std::map<unsigned, agent>& agents() { return agents_; }
    server& links() { return server_; }
    subscription_policy& policy() { return policy_; }
    service_options& settings() { return options_; }
    plan_desk& planner() { return planner_; }
    std::uint64_t violations() const { return violations_; }
    void quit(int status);
    // Serialises, logs and queues. False when the link is gone or its output limit is reached.
    bool send_message(agent& to, const json_ptr& message);
    // The same for bytes as they are; `shown` stands in the output, `message` is what they hold, where that is JSON.
    bool send_bytes(agent& to, outgoing item, const std::string& shown, json_object* message = nullptr);

    void link_opened(unsigned link, const std::string& peer, const std::string& sub_protocol,
                     const std::string& path) override;
    void message_received(unsigned link, std::string_view text, bool binary) override;
    void link_trouble(unsigned link, const std::string& what) override;
    void link_closed(unsigned link, const std::string& why) override;

    line_result handle_line(const std::string& line) override;
    bool already(const wait_request& wait) const override;
    void wait_failed() override;

  private:
    void say(const agent* who, const std::string& text);
    void violation(agent& who, const std::string& text);
    void rrm_message(agent& who, json_object* message);
    void answer_subscription(agent& who);
    void note_sent(agent& who, json_object* message);
    void note_accepted(agent& who);
    void tell_progress(const agent& who, const std::string& text);
    std::unique_ptr<pilot> make_pilot(agent& who);
    void begin_automatic(agent& who);
    void tell_verdict(const agent& who, const json_ptr& verdict);
    void look_at_clock();
    void check_automatic_end();

    service_options options_;
    event_loop loop_;
    server server_;
    console console_;
    message_log log_;
    subscription_policy policy_;
    std::map<unsigned, agent> agents_;
    plan_desk planner_;
    std::uint64_t violations_ = 0;
    unsigned pilots_done_ = 0;
    unsigned pilots_failed_ = 0;
    int status_ = 0;
    bool wait_failed_ = false;
};

}  // namespace ravd::sim
