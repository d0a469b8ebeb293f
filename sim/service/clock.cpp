#include "sim/service/clock.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace ravd::sim {
namespace {

std::string formatted(std::int64_t ms, bool local, const char* format, const char* tail) {
    const auto seconds = static_cast<std::time_t>(ms / 1000);
    std::tm parts = {};
    local ? localtime_r(&seconds, &parts) : gmtime_r(&seconds, &parts);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, format, &parts);
    std::snprintf(text + length, sizeof text - length, ".%03d%s", static_cast<int>(ms % 1000), tail);
    return text;
}

}  // namespace

std::int64_t wall_ms() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string timestamp(std::int64_t ms) { return formatted(ms, false, "%Y-%m-%dT%H:%M:%S", "Z"); }

std::string timestamp() { return timestamp(wall_ms()); }

std::string time_of_day() { return formatted(wall_ms(), true, "%H:%M:%S", ""); }

}  // namespace ravd::sim
