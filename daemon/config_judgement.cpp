#include "daemon/config_judgement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "core/formatted.h"
#include "core/logger.h"
#include "daemon/agent_config.h"
#include "daemon/config_keys.h"
#include "platform/unique_fd.h"

namespace ravd {
namespace {

constexpr std::size_t longest_file = 64 * 1024;
constexpr std::size_t longest_piece = 254;

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
        const config_key* key = find_config_key(name);
        if (!key) {
            key = find_config_key(without_blanks(name));
            return say(
                number,
                key ? formatted("blanks before or around the key, so the line is ignored: write %s=VALUE", key->name)
                    : judge_unknown_key(without_blanks(name)));
        }
        if (line.size() > longest_piece)
            say(number, "only the first 254 bytes belong to the line; the rest counts as a line of its own");
        note_repetition(number, *key);
        const std::string wrong = key->judge(line.substr(sign + 1));
        if (!wrong.empty()) say(number, formatted("%s: %s", key->name, wrong.c_str()));
    }

    // Line in which the key stood last; 0: nowhere.
    int line_of(std::string_view name) const {
        for (std::size_t i = 0; i < std::size(config_keys); ++i) {
            if (name == config_keys[i].name) return last_line_[i];
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
    void note_repetition(int number, const config_key& key) {
        int& last = last_line_[&key - config_keys];
        if (last != 0) say(last, formatted("%s stands again in line %d", key.name, number));
        last = number;
    }

    std::vector<config_finding>& findings_;
    int last_line_[std::size(config_keys)] = {};
};

// Keys that need another one beside them.
void judge_tls(line_judge& lines, const tls_settings& tls) {
    const char* const keys[] = {"tls_cert_file", "tls_key_file", "tls_server_name"};
    if (!tls.enabled) {
        for (const char* const key : keys)
            if (const int line = lines.line_of(key))
                lines.say(line, formatted("%s: no effect without tls_ca_file, the link is not encrypted", key));
    } else if (tls.cert_file.empty() != tls.key_file.empty()) {
        const char* const alone = keys[tls.cert_file.empty() ? 1 : 0];
        lines.say(
            lines.line_of(alone),
            formatted("%s: tls_cert_file and tls_key_file are needed together: no connection will come about", alone));
    }
}

std::string describe(const link_config& link) {
    return formatted("ws://%s:%d%s", link.host, static_cast<int>(link.port), link.path);
}

std::string describe_log(const agent_config& config, const std::string& file) {
    if ((config.log_mask & 0xf) == 0) return "logs nothing";
    static constexpr const char* names[] = {"errors", "warnings", "information", "debug lines"};
    std::string text;
    for (unsigned bit = 0; bit < 4; ++bit) {
        if ((config.log_mask & (1u << bit)) == 0) continue;
        text += text.empty() ? "logs " : ", ";
        text += names[bit];
    }
    return formatted("%s to %s", text.c_str(), file.empty() ? "standard error" : file.c_str());
}

// The random delay that a span stands for.
std::string describe_delay(std::uint32_t span_s) {
    if (span_s == 0) span_s = 2;
    return formatted("%u to %u s", span_s / 2, span_s + span_s / 2);
}

std::string describe_plan(const agent_config& config, const std::string& log_file) {
    const bool bridge = config.links[roam_link].enabled != 0;
    const link_config& link = config.links[bridge ? roam_link : corvane_link];
    if (link.enabled == 0) return "The daemon ends at once, since no line names a service.";
    const std::string service = describe(link);
    std::string text = bridge ? formatted("The daemon bridges %s and the local bus", service.c_str())
                              : formatted("The daemon connects to %s as an agent of the domain %s", service.c_str(),
                                          quoted_text(link.location).c_str());
    if (config.tls.enabled) {
        const char* const name = config.tls.server_name.empty() ? link.host : config.tls.server_name.c_str();
        text += formatted(" over TLS, where it must be %s", quoted_text(name).c_str());
    }
    const std::string first = describe_delay(link.initial_connection_delay);
    const std::string last = describe_delay(link.max_connection_delay);
    text += first == last ? formatted(", each time after %s", first.c_str())
                          : formatted(", first after %s, in the end after %s", first.c_str(), last.c_str());
    return text + formatted(", and %s.", describe_log(config, log_file).c_str());
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
        judgement.findings.push_back({0, "cannot be read: " + text});
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
