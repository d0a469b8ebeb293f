// One readable line on standard output for each thing that happens.
#pragma once

#include <cstdint>

namespace ravd::sim {

class event_log {
  public:
    explicit event_log(bool quiet);
    // "   12.345 SOURCE: text", seconds since the start. Control characters are printed as dots.
    void line(const char* source, const char* format, ...) const __attribute__((format(printf, 3, 4)));

  private:
    bool quiet_;
    std::int64_t start_ms_;
};

}  // namespace ravd::sim
