#include "daemon/config_keys.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "core/formatted.h"
#include "link/tls_file.h"

namespace ravd {
namespace {

constexpr std::size_t longest_text = 255;
constexpr unsigned long longest_delay_s = 1000000;

bool is_blank(char c) { return c == ' ' || c == '\t'; }

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
    return formatted("port %s is not a number from 1 to 65535: no connection will come about",
                     quoted_text(digits).c_str());
}

std::string judge_url(std::string_view value) {
    const std::size_t scheme_end = value.find("://");
    if (scheme_end != std::string_view::npos && value.substr(0, scheme_end) != "ws")
        return formatted("scheme %s is not ws: neither this line nor any line below it is read",
                         quoted_text(value.substr(0, scheme_end)).c_str());
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
    const bool is_number = end != text.c_str() && *end == '\0' && text.find('-') == std::string::npos;
    if (is_number && seconds <= longest_delay_s) return "";
    return formatted("%s %s %lu s", quoted_text(value).c_str(),
                     is_number ? "counts as" : "is not a number of seconds and counts as",
                     std::min(seconds, longest_delay_s));
}

std::string judge_mask(std::string_view value) {
    const std::string text(value);
    const bool hexadecimal = strncasecmp(text.c_str(), "0x", 2) == 0;
    const char* digits = text.c_str() + (hexadecimal ? 2 : 0);
    char* end = nullptr;
    const unsigned long mask = std::strtoul(digits, &end, hexadecimal ? 16 : 10);
    const std::string shown = quoted_text(value);
    if (end == digits) return formatted("%s is not a number: nothing will be logged", shown.c_str());
    if (*end != '\0') return formatted("%s counts as %lu", shown.c_str(), mask);
    if (mask <= 0xf) return "";
    return formatted("only 1, 2, 4 and 8 mean something, so a part of %s has no effect", shown.c_str());
}

std::string judge_text(std::string_view value) {
    std::string comment = judge_comment(value);
    if (!comment.empty()) return comment;
    if (value != without_blanks(value))
        return formatted("the blanks around %s belong to the value", quoted_text(value).c_str());
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

}  // namespace

const config_key config_keys[config_key_count] = {
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

std::string quoted_text(std::string_view text) {
    std::string shown(1, '"');
    for (const char c : text.substr(0, 60))
        shown.push_back(static_cast<unsigned char>(c) < ' ' ? '?' : c);
    return shown + '"';
}

std::string_view without_blanks(std::string_view text) {
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

const config_key* find_config_key(std::string_view name) {
    for (const config_key& key : config_keys) {
        if (equal(name, key.name)) return &key;
    }
    return nullptr;
}

std::string judge_unknown_key(std::string_view name) {
    const char* nearest = nullptr;
    std::size_t best = 5;
    for (const config_key& key : config_keys) {
        const std::size_t far = distance(name.substr(0, 40), key.name);
        if (far >= best) continue;
        best = far;
        nearest = key.name;
    }
    const std::string shown = quoted_text(name);
    return nearest ? formatted("unknown key %s, so the line is ignored; did you mean %s?", shown.c_str(), nearest)
                   : formatted("unknown key %s, so the line is ignored", shown.c_str());
}

}  // namespace ravd
