#include "sim/service/clock.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace ravd::sim {
namespace {

std::string formatted(bool local, const char* format, const char* tail) {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts = {};
    local ? localtime_r(&seconds, &parts) : gmtime_r(&seconds, &parts);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, format, &parts);
    std::snprintf(text + length, sizeof text - length, ".%03d%s", static_cast<int>(milliseconds), tail);
    return text;
}

}  // namespace

std::string timestamp() { return formatted(false, "%Y-%m-%dT%H:%M:%S", "Z"); }

std::string time_of_day() { return formatted(true, "%H:%M:%S", ""); }

}  // namespace ravd::sim
