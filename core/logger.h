// Diagnostics: four levels filtered by one process-wide mask, written through the device's log library.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ravd {

// Bits of logger::mask. Other bits have no effect.
constexpr std::uint32_t log_error_bit = 0x1;
constexpr std::uint32_t log_warning_bit = 0x2;
constexpr std::uint32_t log_info_bit = 0x4;
constexpr std::uint32_t log_debug_bit = 0x8;

// One process-wide record. The mask changes only while one thread runs; before main it is 0.
struct logger {
    const char* name = "ravd";
    std::atomic<std::uint32_t> mask{0};
    std::string file;  // the log_file= value; empty: not set
};

extern logger process_log;

inline bool log_enabled(const logger& log, std::uint32_t bit) {
    return (log.mask.load(std::memory_order_relaxed) & bit) != 0;
}
inline bool debug_enabled() { return log_enabled(process_log, log_debug_bit); }

// Callable from any thread. A disabled level costs a load and a test. Callers build texts for a level only after asking
// log_enabled.
void log_error(const logger& log, const char* format, ...) __attribute__((format(printf, 2, 3)));
void log_warning(const logger& log, const char* format, ...) __attribute__((format(printf, 2, 3)));
void log_info(const logger& log, const char* format, ...) __attribute__((format(printf, 2, 3)));
void log_debug(const logger& log, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace ravd
