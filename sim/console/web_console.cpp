#include "sim/console/web_console.h"

#include <cstdio>

#include "sim/console/frames.h"

namespace ravd::sim {

bool web_console::start(const web_options& options, std::string& error) {
    if (!server_.start(options, error)) return false;
    std::printf("console at %s\n", server_.url().c_str());
    std::fflush(stdout);
    return true;
}

void web_console::viewer_joined(unsigned viewer) {
    server_.send(viewer, make_frame(json_compact(hello_frame("live").get())));
    server_.send(viewer, make_frame(json_compact(ready_frame().get())));
}

void web_console::viewer_said(unsigned, std::string_view) {}
void web_console::viewer_drained(unsigned) {}
void web_console::viewer_left(unsigned) {}
std::string web_console::download_piece(std::uint64_t&) { return ""; }

}  // namespace ravd::sim
