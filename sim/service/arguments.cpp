#include "sim/service/arguments.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "sim/common/text.h"
#include "tools/common/number.h"

namespace ravd::sim {
namespace {

constexpr std::size_t file_limit = 16u << 20;

argument as_argument(const std::string& word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0 || word[0] == '{' || word[0] == '[') return {"", word};
    for (std::size_t i = 0; i < equals; ++i)
        if (!std::isalnum(static_cast<unsigned char>(word[i])) && word[i] != '-' && word[i] != '_') return {"", word};
    return {word.substr(0, equals), word.substr(equals + 1)};
}

}  // namespace

bool parse_command_line(std::string_view line, command_line& out, std::string& error) {
    std::string_view text = trimmed(line);
    out = command_line();
    if (text.empty() || text[0] == '#') return true;
    std::string_view after = text;
    const std::string_view first = take_word(after);
    after = trimmed(after);
    if (first == "agent") {
        const std::string_view selector = take_word(after);
        after = trimmed(after);
        if (selector.empty()) {
            error = "agent needs a number, an ap-mac or \"all\"";
            return false;
        }
        out.to = selector == "all" ? target::all : target::one;
        out.selector = selector;
        text = after;
    } else if (first == "all") {
        out.to = target::all;
        text = after;
    }
    after = text;
    if (take_word(after) == "unchecked") {
        out.unchecked = true;
        text = trimmed(after);
    }
    if (text.empty()) {
        error = "a command is missing";
        return false;
    }
    if (text[0] == '{' || text[0] == '[') {
        out.word = "text";
        out.rest = text;
        return true;
    }
    out.word = take_word(text);
    out.rest = trimmed(text);
    // Payloads are taken as typed; only commands with arguments have words.
    if (out.word == "text" || out.word == "binary" || out.word == "fragments" || out.word == "raw") return true;
    std::vector<std::string> words;
    if (!split_words(out.rest, words)) {
        error = "a quote or bracket is not closed";
        return false;
    }
    for (const std::string& word : words)
        out.args.push_back(as_argument(word));
    return true;
}

bool parse_int(std::string_view text, int& out) { return parse_number(text, -INT_MAX, INT_MAX, out); }

bool parse_channels(std::string_view text, std::string& out) {
    std::vector<int> channels;
    if (!parse_numbers(text, 0, 65535, channels)) return false;
    out.clear();
    for (const int channel : channels)
        out += (out.empty() ? "" : " ") + std::to_string(channel);
    return true;
}

bool read_inline_or_file(const std::string& text, std::string& out, std::string& error) {
    if (!text.empty() && (text[0] == '{' || text[0] == '[')) {
        out = text;
        return true;
    }
    if (no_files::wanted()) {
        error = "JSON is needed here, not the name of a file";
        return false;
    }
    std::FILE* file = std::fopen(text.c_str(), "r");
    if (!file) {
        error = "cannot read " + text + ": " + std::strerror(errno);
        return false;
    }
    std::string content;
    char chunk[16384];
    std::size_t n = 0;
    while (content.size() <= file_limit && (n = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        content.append(chunk, n);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed || content.size() > file_limit) {
        error = failed ? "cannot read " + text : text + " holds more than 16 MiB";
        return false;
    }
    out = std::move(content);
    return true;
}

bool parse_hex(std::string_view text, std::string& out) {
    std::string bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\t') {
            if (high >= 0) return false;
            continue;
        }
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
        const int digit = std::isdigit(static_cast<unsigned char>(c))
                              ? c - '0'
                              : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes += static_cast<char>(high * 16 + digit);
            high = -1;
        }
    }
    if (high >= 0) return false;
    out = std::move(bytes);
    return true;
}

}  // namespace ravd::sim
