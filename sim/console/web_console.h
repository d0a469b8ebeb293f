// What a browser sees of the lab service, and what it may do.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "sim/console/web_server.h"
#include "sim/service/lab.h"

namespace ravd::sim {

class web_console : public web_listener {
  public:
    explicit web_console(lab& service) : service_(service), server_(service.loop(), *this) {}

    // Opens the port and prints where. False with the reason in `error`.
    bool start(const web_options& options, std::string& error);

    void viewer_joined(unsigned viewer) override;
    void viewer_said(unsigned viewer, std::string_view text) override;
    void viewer_drained(unsigned viewer) override;
    void viewer_left(unsigned viewer) override;
    std::string download_piece(std::uint64_t& at) override;

  private:
    lab& service_;
    web_server server_;
};

}  // namespace ravd::sim
