#include "sim/ap/radio_server.h"

namespace ravd::sim {

radio_server::radio_server(event_loop& loop, wireless_driver& driver)
    : loop_(loop),
      driver_(driver),
      server_(loop, 4 + radio_request_head + command_record_size,
              [this](std::uint64_t connection, std::string& input, bool ended) {
                  return take(connection, input) && !ended;
              }) {}

bool radio_server::take(std::uint64_t connection, std::string& input) {
    while (input.size() >= 4) {
        const std::size_t size = load_u32(input.data());
        if (size < radio_request_head || size > radio_request_head + command_record_size) return false;
        if (input.size() < 4 + size) return true;
        radio_request request;
        const bool whole = decode(input.data() + 4, size, request);
        input.erase(0, 4 + size);
        if (!whole) return false;
        auto answer = driver_.handle(request);
        if (!answer) continue;  // hangs: the connection stays open without an answer
        if (answer->reply.result < 0) {
            // A call that fails leaves the caller's request as it was.
            answer->reply.length = request.length;
            answer->reply.flags = request.flags;
        }
        const std::string bytes = encode(answer->reply);
        if (answer->delay_ms == 0)
            server_.send(connection, bytes, false);
        else
            loop_.after(answer->delay_ms, [this, connection, bytes] { server_.send(connection, bytes, false); });
    }
    return true;
}

}  // namespace ravd::sim
