#include "daemon/service_url.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include "core/bounded_text.h"
#include "core/logger.h"
#include "daemon/agent_config.h"

namespace ravd {
namespace {

// What precedes the first line end.
std::string_view one_line(std::string_view text) { return text.substr(0, text.find_first_of("\r\n")); }

}  // namespace

std::int32_t parse_port(const char* text) {
    const long value = std::strtol(text, nullptr, 10);
    return static_cast<std::int32_t>(
        std::clamp<long>(value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

bool parse_service_url(const char* value, link_config& link) {
    std::string_view rest = value;
    const std::size_t scheme_end = rest.find("://");
    if (scheme_end != std::string_view::npos) {
        const std::string scheme(rest.substr(0, scheme_end));
        if (scheme != "ws") {
            log_debug(process_log, "Proto %s is invalid\n", scheme.c_str());
            return false;
        }
        rest.remove_prefix(scheme_end + 3);
    }
    const std::size_t host_end = rest.find(':');
    if (host_end == std::string_view::npos) return true;
    const std::size_t path_start = rest.find('/', host_end + 1);
    if (path_start == std::string_view::npos) return true;

    copy_text(link.host, one_line(rest.substr(0, host_end)));
    // The port's number ends at the slash by itself.
    link.port = parse_port(rest.data() + host_end + 1);
    copy_text(link.path, one_line(rest.substr(path_start)));
    link.enabled = 1;
    return true;
}

}  // namespace ravd
