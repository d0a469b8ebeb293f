// One module of the bus that answers requests, with its faults.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/portable/bus_endpoint.h"
#include "sim/ap/event_log.h"
#include "sim/ap/faults.h"
#include "sim/common/event_loop.h"
#include "sim/common/json.h"

namespace ravd::sim {

class bus_service {
  public:
    // The text of the answer to a request; empty for none. `command` is its "command" member. The request stays as it
    // is: it may serve again.
    using handler = std::function<std::string(const std::string& command, json_object* request)>;

    // `name` is the service's name in fault commands and in the log.
    bus_service(event_loop& loop, const event_log& log, fault_list& faults, const char* name, int module,
                std::string directory, handler answer);
    ~bus_service();
    bus_service(const bus_service&) = delete;
    bus_service& operator=(const bus_service&) = delete;

    // Registers the module and listens. False with the reason.
    bool open(std::string& reason);
    // Leaves or joins the bus as the faults say ("dead").
    void follow_faults();
    // To whom: a module's newest connection, or a new one. False when nobody serves it.
    bool send(int destination, const std::string& text);

  private:
    void serve(const pollfd* entries, std::size_t count);
    void take(const bus_message& message);
    json_ptr parse(std::string_view text);
    void close();

    event_loop& loop_;
    const event_log& log_;
    fault_list& faults_;
    const char* name_;
    int module_;
    std::string directory_;
    handler answer_;
    std::unique_ptr<bus_endpoint> endpoint_;
    std::uint64_t member_ = 0;  // of the loop, while there is an endpoint
    // Short requests and what they say: an agent asks the same again and again. Null for what is no JSON.
    std::map<std::string, json_ptr, std::less<>> known_;
};

// {"command": "NAME-response", "status": "ok"}; with a reason: "status" "error" and "reason".
json_ptr make_answer(const std::string& command, const std::string& reason = {});

}  // namespace ravd::sim
