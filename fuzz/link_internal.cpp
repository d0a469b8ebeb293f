// A text on its way to the service: only what parsing shows to be for the link worker is consumed by it.
//
// Aims at: link/internal_message.cpp

#include <strings.h>

#include <cstdlib>

#include "link/websock_worker.h"
#include "message/json.h"
#include "tests/support/message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ravd;
    static run_flag running{true};
    static safe_queue input, output;
    static websock_worker worker(input, output, "127.0.0.1", "/", 1, &running, 0, 0, corvane_mode);
    const auto buffer = testing::message({reinterpret_cast<const char*>(data), size});
    const json_reader message(buffer->data);
    const char* service = message.valid() ? message.get_string("service") : nullptr;
    const bool internal = service && strcasecmp(service, "internal-ipc") == 0;
    if (worker.handle_internal(*buffer) != internal) std::abort();
    while (output.pop([](const auto&) {})) {
    }
    return 0;
}
