#include "sim/ap/event_log.h"

#include <cstdarg>
#include <cstdio>

#include "platform/monotonic.h"
#include "sim/common/line_editor.h"

namespace ravd::sim {

event_log::event_log(bool quiet) : quiet_(quiet), start_ms_(monotonic_ms()) {}

void event_log::line(const char* source, const char* format, ...) const {
    if (quiet_) return;
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    for (char* c = text; *c; ++c)
        if (static_cast<unsigned char>(*c) < 0x20 || *c == 0x7f) *c = '.';
    char place[32];
    std::snprintf(place, sizeof place, "%9.3f ", static_cast<double>(monotonic_ms() - start_ms_) / 1000);
    print_lines(std::string(place) + source + ": " + text + "\n");
}

}  // namespace ravd::sim
