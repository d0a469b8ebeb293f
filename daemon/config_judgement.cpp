#include "daemon/config_judgement.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "core/logger.h"
#include "daemon/agent_config.h"
#include "link/tls_file.h"
#include "platform/unique_fd.h"

namespace ravd {
namespace {

constexpr std::size_t longest_file = 64 * 1024;
constexpr std::size_t longest_piece = 254;
constexpr std::size_t longest_text = 255;
constexpr unsigned long longest_delay_s = 1000000;

std::string quoted(std::string_view text) {
    std::string shown(1, '"');
    for (const char c : text.substr(0, 60))
        shown.push_back(static_cast<unsigned char>(c) < ' ' ? '?' : c);
    return shown + '"';
}

bool is_blank(char c) { return c == ' ' || c == '\t'; }

std::string_view without_blanks(std::string_view text) {
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool equal(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Of the values: each function says what is wrong with one, or nothing.

std::string judge_comment(std::string_view value) {
    const std::size_t hash = value.find('#');
    if (hash == std::string_view::npos || hash == 0 || !is_blank(value[hash - 1])) return "";
    return "a comment behind a value belongs to the value: put it on a line of its own";
}

std::string judge_port(std::string_view digits) {
    char* end = nullptr;
    const std::string text(digits);
    const long port = std::strtol(text.c_str(), &end, 10);
    if (!text.empty() && *end == '\0' && port >= 1 && port <= 65535) return "";
    return "port " + quoted(digits) + " is not a number from 1 to 65535: no connection will come about";
}

std::string judge_url(std::string_view value) {
    const std::size_t scheme_end = value.find("://");
    if (scheme_end != std::string_view::npos && value.substr(0, scheme_end) != "ws")
        return "scheme " + quoted(value.substr(0, scheme_end)) +
               " is not ws: neither this line nor any line below it is read";
    std::string_view rest = scheme_end == std::string_view::npos ? value : value.substr(scheme_end + 3);
    const std::size_t host_end = rest.find(':');
    if (host_end == std::string_view::npos) return "the URL has no port, so the line is ignored: ws://HOST:PORT/PATH";
    const std::size_t path_start = rest.find('/', host_end + 1);
    if (path_start == std::string_view::npos) return "the URL has no path, so the line is ignored: ws://HOST:PORT/PATH";
    if (host_end == 0) return "the URL has no host: no connection will come about";
    if (value.find_first_of(" \t") != std::string_view::npos)
        return "the URL contains blanks, which belong to it: no connection will come about";
    return judge_port(rest.substr(host_end + 1, path_start - host_end - 1));
}

std::string judge_seconds(std::string_view value) {
    char* end = nullptr;
    const std::string text(value);
    const unsigned long seconds = std::strtoul(text.c_str(), &end, 10);
    const std::string counts = " counts as " + std::to_string(std::min(seconds, longest_delay_s)) + " s";
    if (end == text.c_str() || *end != '\0' || text.find('-') != std::string::npos)
        return quoted(value) + " is not a number of seconds and" + counts;
    return seconds > longest_delay_s ? quoted(value) + counts : "";
}

std::string judge_mask(std::string_view value) {
    const std::string text(value);
    const bool hexadecimal = strncasecmp(text.c_str(), "0x", 2) == 0;
    const char* digits = text.c_str() + (hexadecimal ? 2 : 0);
    char* end = nullptr;
    const unsigned long mask = std::strtoul(digits, &end, hexadecimal ? 16 : 10);
    if (end == digits) return quoted(value) + " is not a number: nothing will be logged";
    if (*end != '\0') return quoted(value) + " counts as " + std::to_string(mask);
    return mask > 0xf ? "only 1, 2, 4 and 8 mean something, so a part of " + quoted(value) + " has no effect" : "";
}

std::string judge_text(std::string_view value) {
    const std::string comment = judge_comment(value);
    if (!comment.empty()) return comment;
    if (value != without_blanks(value)) return "the blanks around " + quoted(value) + " belong to the value";
    return value.size() > longest_text ? "only the first 255 bytes count" : "";
}

std::string judge_file(std::string_view value, bool secret) {
    std::string wrong = judge_text(value);
    std::string text;
    if (wrong.empty() && !read_tls_file(std::string(value), secret, text, wrong))
        wrong += ": no connection will come about";
    return wrong;
}

std::string judge_public_file(std::string_view value) { return judge_file(value, false); }
std::string judge_key_file(std::string_view value) { return judge_file(value, true); }

struct known_key {
    const char* name;
    std::string (*judge)(std::string_view value);
};

constexpr known_key known_keys[] = {
    {"roam_service_url", judge_url},
    {"corvane_service_url", judge_url},
    {"initial_connection_delay", judge_seconds},
    {"max_connection_delay", judge_seconds},
    {"ap_location", judge_text},
    {"log_level", judge_mask},
    {"log_file", judge_text},
    {"tls_ca_file", judge_public_file},
    {"tls_cert_file", judge_public_file},
    {"tls_key_file", judge_key_file},
    {"tls_server_name", judge_text},
};

// Single characters to insert, remove or replace until both are the same.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::string judge_unknown(std::string_view name) {
    const char* nearest = nullptr;
    std::size_t best = 5;
    for (const known_key& key : known_keys) {
        const std::size_t far = distance(name.substr(0, 40), key.name);
        if (far >= best) continue;
        best = far;
        nearest = key.name;
    }
    const std::string text = "unknown key " + quoted(name) + ", so the line is ignored";
    return nearest ? text + "; did you mean " + nearest + "?" : text;
}

const known_key* find_key(std::string_view name) {
    for (const known_key& key : known_keys) {
        if (equal(name, key.name)) return &key;
    }
    return nullptr;
}

class line_judge {
  public:
    explicit line_judge(std::vector<config_finding>& findings) : findings_(findings) {}

    void judge(int number, std::string_view line) {
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        const std::string_view meant = without_blanks(line);
        if (meant.empty() || meant.front() == '#') return;
        const std::size_t sign = line.find('=');
        if (sign == std::string_view::npos) return say(number, "no \"=\", so the line is ignored");
        const std::string_view name = line.substr(0, sign);
        const known_key* key = find_key(name);
        if (!key) {
            key = find_key(without_blanks(name));
            return say(number, key ? std::string("blanks before or around the key, so the line is ignored: write ") +
                                         key->name + "=VALUE"
                                   : judge_unknown(without_blanks(name)));
        }
        if (line.size() > longest_piece)
            say(number, "only the first 254 bytes belong to the line; the rest counts as a line of its own");
        note_repetition(number, *key);
        const std::string wrong = key->judge(line.substr(sign + 1));
        if (!wrong.empty()) say(number, std::string(key->name) + ": " + wrong);
    }

    // Line in which the key stood last; 0: nowhere.
    int line_of(std::string_view name) const {
        for (std::size_t i = 0; i < std::size(known_keys); ++i) {
            if (name == known_keys[i].name) return last_line_[i];
        }
        return 0;
    }

    void say(int number, std::string text) {
        auto at = findings_.end();
        while (at != findings_.begin() && (at - 1)->line > number)
            --at;
        findings_.insert(at, {number, std::move(text)});
    }

  private:
    void note_repetition(int number, const known_key& key) {
        int& last = last_line_[&key - known_keys];
        if (last != 0) say(last, std::string(key.name) + " stands again in line " + std::to_string(number));
        last = number;
    }

    std::vector<config_finding>& findings_;
    int last_line_[std::size(known_keys)] = {};
};

// Keys that need another one beside them.
void judge_tls(line_judge& lines, const tls_settings& tls) {
    const char* const keys[] = {"tls_cert_file", "tls_key_file", "tls_server_name"};
    if (!tls.enabled) {
        for (const char* const key : keys)
            if (const int line = lines.line_of(key))
                lines.say(line, std::string(key) + ": no effect without tls_ca_file, the link is not encrypted");
    } else if (tls.cert_file.empty() != tls.key_file.empty()) {
        const char* const alone = keys[tls.cert_file.empty() ? 1 : 0];
        lines.say(lines.line_of(alone), std::string(alone) + ": tls_cert_file and tls_key_file are needed together: " +
                                            "no connection will come about");
    }
}

std::string describe(const link_config& link) {
    return "ws://" + std::string(link.host) + ":" + std::to_string(link.port) + link.path;
}

std::string describe_log(const agent_config& config, const std::string& file) {
    if ((config.log_mask & 0xf) == 0) return "logs nothing";
    static constexpr const char* names[] = {"errors", "warnings", "information", "debug lines"};
    std::string text;
    for (unsigned bit = 0; bit < 4; ++bit) {
        if ((config.log_mask & (1u << bit)) == 0) continue;
        text += (text.empty() ? "logs " : ", ") + std::string(names[bit]);
    }
    return text + " to " + (file.empty() ? "standard error" : file);
}

std::string describe_plan(const agent_config& config, const std::string& log_file) {
    const bool bridge = config.links[roam_link].enabled != 0;
    const link_config& link = config.links[bridge ? roam_link : corvane_link];
    if (link.enabled == 0) return "The daemon ends at once, since no line names a service.";
    std::string text =
        bridge ? "The daemon bridges " + describe(link) + " and the local bus"
               : "The daemon connects to " + describe(link) + " as an agent of the domain " + quoted(link.location);
    if (config.tls.enabled)
        text += " over TLS, where it must be " +
                quoted(config.tls.server_name.empty() ? link.host : config.tls.server_name.c_str());
    return text + ", first after up to " + std::to_string(link.initial_connection_delay) + " s, then at most every " +
           std::to_string(link.max_connection_delay) + " s, and " + describe_log(config, log_file) + ".";
}

// False when it cannot be read: `text` is the reason.
bool read_text(const char* path, std::string& text) {
    const unique_fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (fd.get() < 0 || fstat(fd.get(), &info) != 0) {
        text = std::strerror(errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        text = "not a file";
        return false;
    }
    char piece[1024];
    for (ssize_t got; text.size() < longest_file && (got = read(fd.get(), piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<std::size_t>(got));
    return true;
}

agent_config read_quietly(const char* path, std::string& log_file) {
    const std::uint32_t mask = process_log.mask;
    const std::string file = process_log.file;
    process_log.mask = 0;
    process_log.file.clear();
    agent_config config{};
    read_config_file(path, config);
    log_file = process_log.file;
    process_log.mask = mask;
    process_log.file = file;
    return config;
}

}  // namespace

config_judgement judge_config_file(const char* path) {
    config_judgement judgement;
    std::string text;
    if (!read_text(path, text)) {
        judgement.findings.push_back({0, std::string("cannot be read: ") + text});
        judgement.plan = "The daemon ends at once, since it has no configuration.";
        return judgement;
    }
    line_judge lines(judgement.findings);
    int number = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        lines.judge(++number, rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    std::string log_file;
    const agent_config config = read_quietly(path, log_file);
    if (config.links[roam_link].enabled != 0 && config.links[corvane_link].enabled != 0)
        lines.say(lines.line_of("corvane_service_url"),
                  "corvane_service_url: not used, since roam_service_url is given and wins");
    judge_tls(lines, config.tls);
    judgement.plan = describe_plan(config, log_file);
    judgement.works = config.links[roam_link].enabled != 0 || config.links[corvane_link].enabled != 0;
    return judgement;
}

}  // namespace ravd
