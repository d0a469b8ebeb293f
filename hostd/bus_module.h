// One module of the bus that answers requests.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "message/json.h"
#include "platform/portable/bus_endpoint.h"

namespace ravd::hostd {

// Numbers of the bus: who asks and who is asked.
constexpr int module_configuration = 1;
constexpr int module_network = 6;
constexpr int module_agent = 31;

class bus_module {
  public:
    // The JSON text that answers a request; empty for none.
    using handler = std::function<std::string(const std::string& command, const json_reader& request)>;

    // `directory` is the bus's. Not on the bus before the first look().
    bus_module(int module, std::string directory, handler answer)
        : module_(module), directory_(std::move(directory)), answer_(std::move(answer)) {}

    // Joins the bus, again where the place on it was lost. A failure is logged once.
    void look();
    // Appends what to poll until serve() has something to do. Milliseconds until serve() wants to be called at the
    // latest; -1: only then.
    int fill(std::vector<pollfd>& set);
    // Answers a few of the requests that are there, so that a flood does not keep the rest waiting.
    void serve();
    // False when nobody serves the destination, or it does not read.
    bool send(int destination, const std::string& text);

  private:
    int module_;
    std::string directory_;
    handler answer_;
    std::unique_ptr<bus_endpoint> endpoint_;
    bool refused_ = false;  // said already
    bool more_ = false;     // requests were left at the last turn
};

// {"command": "NAME-response", "status": "ok"}; with a reason "error" and the reason.
std::string answer_text(const std::string& command, const std::string& reason);
// The answer to a "get" that has a value.
std::string value_text(const std::string& command, const std::string& value);

}  // namespace ravd::hostd
