// The service URLs of the agent configuration file.
#pragma once

#include <cstdint>

namespace ravd {

struct link_config;

// Reads "[ws://]host:port/path" into `link` and enables it. A value without port or path changes nothing and is
// still accepted. False when the scheme is not "ws". The value ends at its first line end or NUL.
bool parse_service_url(const char* value, link_config& link);

// A port's decimal number, as far as there is one; clamped to 32 bits.
std::int32_t parse_port(const char* text);

}  // namespace ravd
