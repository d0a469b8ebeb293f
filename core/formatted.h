// Texts put together as printf does.
#pragma once

#include <string>

namespace ravd {

// For texts of several parts: one call, where each + is a text of its own. Parts end at their first zero byte.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace ravd
