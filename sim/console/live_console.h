// The console of the running service: what the log would hold is shown, and what the page asks for is carried out as if
// it had been typed at the terminal.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/console/memory_entries.h"
#include "sim/console/viewer_hub.h"
#include "sim/service/lab.h"

namespace ravd::sim {

class live_console : public log_listener, public page_source {
  public:
    explicit live_console(lab& service);
    ~live_console() override;
    live_console(const live_console&) = delete;
    live_console& operator=(const live_console&) = delete;

    // Opens the port and prints where. False with the reason in `error`.
    bool start(const web_options& options, std::string& error) { return hub_.start(options, error); }

    void logged(const log_entry& entry) override;

    page_state state() override;
    json_ptr hello() override;
    link_state link(unsigned agent) override;
    json_ptr last_frame() override;
    json_ptr answer(const std::string& type, json_object* request, std::string& error) override;

  private:
    // The page is told, soon.
    void plan_changed();

    lab& service_;
    bool plan_due_ = false;
    domain_model domain_;
    memory_entries entries_;
    load_history loads_;
    client_history clients_;
    viewer_hub hub_;
};

}  // namespace ravd::sim
