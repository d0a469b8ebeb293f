#include "daemon/agent_config.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "core/bounded_text.h"
#include "core/logger.h"
#include "daemon/service_url.h"
#include "platform/unique_fd.h"

namespace ravd {

namespace {

constexpr std::uint32_t longest_delay_s = 1000000;

std::string_view without_line_end(std::string_view text) {
    while (!text.empty() && (text.back() == '\r' || text.back() == '\n'))
        text.remove_suffix(1);
    return text;
}

std::uint32_t parse_u32(const char* text, int base) {
    return static_cast<std::uint32_t>(
        std::min<unsigned long>(std::strtoul(text, nullptr, base), std::numeric_limits<std::uint32_t>::max()));
}

std::uint32_t parse_delay(const char* text) { return std::min(parse_u32(text, 10), longest_delay_s); }

// Handlers of the keys: they get what follows the "=". False ends the reading.

bool set_roam_url(const char* value, agent_config& config) { return parse_service_url(value, config.links[roam_link]); }

bool set_corvane_url(const char* value, agent_config& config) {
    return parse_service_url(value, config.links[corvane_link]);
}

bool set_initial_delay(const char* value, agent_config& config) {
    for (link_config& link : config.links)
        link.initial_connection_delay = parse_delay(value);
    return true;
}

bool set_max_delay(const char* value, agent_config& config) {
    for (link_config& link : config.links)
        link.max_connection_delay = parse_delay(value);
    return true;
}

bool set_location(const char* value, agent_config& config) {
    for (link_config& link : config.links)
        copy_text(link.location, without_line_end(value));
    return true;
}

bool set_log_level(const char* value, agent_config& config) {
    const bool hexadecimal = strncasecmp(value, "0x", 2) == 0;
    config.log_mask = hexadecimal ? parse_u32(value + 2, 16) : parse_u32(value, 10);
    apply_log_mask(config);
    return true;
}

bool set_log_file(const char* value, agent_config&) {
    process_log.file = without_line_end(value);
    return true;
}

bool set_tls_ca_file(const char* value, agent_config& config) {
    config.tls.enabled = true;  // also without a value: a mistake must not lead to plain text
    config.tls.ca_file = without_line_end(value);
    return true;
}

bool set_tls_cert_file(const char* value, agent_config& config) {
    config.tls.cert_file = without_line_end(value);
    return true;
}

bool set_tls_key_file(const char* value, agent_config& config) {
    config.tls.key_file = without_line_end(value);
    return true;
}

bool set_tls_server_name(const char* value, agent_config& config) {
    config.tls.server_name = without_line_end(value);
    return true;
}

struct key_handler {
    const char* key;
    bool (*set)(const char* value, agent_config& config);
};

constexpr key_handler key_handlers[] = {
    {"roam_service_url=", set_roam_url},
    {"corvane_service_url=", set_corvane_url},
    {"initial_connection_delay=", set_initial_delay},
    {"max_connection_delay=", set_max_delay},
    {"ap_location=", set_location},
    {"log_level=", set_log_level},
    {"log_file=", set_log_file},
    {"tls_ca_file=", set_tls_ca_file},
    {"tls_cert_file=", set_tls_cert_file},
    {"tls_key_file=", set_tls_key_file},
    {"tls_server_name=", set_tls_server_name},
};

// False ends the reading. A line of no known key is ignored.
bool read_line(const char* line, agent_config& config) {
    for (const key_handler& entry : key_handlers) {
        const std::size_t length = std::strlen(entry.key);
        if (strncasecmp(line, entry.key, length) == 0) return entry.set(line + length, config);
    }
    return true;
}

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_handle = std::unique_ptr<std::FILE, file_closer>;

// Null for what cannot be opened, and for what is neither a file nor a pipe: a device may never end. A pipe without a
// writer is empty; opened in the ordinary way it would hold up the start.
file_handle open_config(const char* path) {
    unique_fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info;
    if (!fd || fstat(fd.get(), &info) != 0 || !(S_ISREG(info.st_mode) || S_ISFIFO(info.st_mode))) return nullptr;
    if (fcntl(fd.get(), F_SETFL, 0) != 0) return nullptr;
    file_handle file{fdopen(fd.get(), "r")};
    if (file) fd.release();
    return file;
}

}  // namespace

void read_config_file(const char* path, agent_config& config) {
    for (link_config& link : config.links)
        copy_text(link.location, "default-rrm-domain");
    config.log_mask = 0;
    const file_handle file = open_config(path);
    if (!file) return;
    char line[255];
    while (std::fgets(line, sizeof line, file.get()) && read_line(line, config)) {
    }
}

void read_agent_config(int argc, char** argv, agent_config& config) {
    process_log.mask = 0xffff;  // so that a rejected URL is seen
    config = {};
    optind = 1;
    for (int option; (option = getopt(argc, argv, "f:d:p:P:")) != -1;) {
        switch (option) {
            case 'f':
                config.file = optarg;
                break;
            case 'd':
                for (link_config& link : config.links)
                    copy_text(link.host, optarg);
                break;
            case 'p':
                for (link_config& link : config.links)
                    copy_text(link.path, optarg);
                break;
            case 'P':
                for (link_config& link : config.links)
                    link.port = parse_port(optarg);
                break;
            default:
                std::exit(-1);
        }
    }
    if (!config.file.empty()) read_config_file(config.file.c_str(), config);
}

void apply_log_mask(const agent_config& config) { process_log.mask = config.log_mask; }

}  // namespace ravd
