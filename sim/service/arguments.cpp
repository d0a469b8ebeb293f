#include "sim/service/arguments.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ravd::lab {

namespace {

constexpr std::size_t file_limit = 16u << 20;

std::string_view trimmed(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    return text;
}

// Takes the first word off `text`.
std::string_view take_word(std::string_view& text) {
    const std::size_t end = std::min(text.find_first_of(" \t"), text.size());
    const std::string_view word = text.substr(0, end);
    text = trimmed(text.substr(end));
    return word;
}

argument as_argument(const std::string& word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0 || word[0] == '{' || word[0] == '[') return {"", word};
    for (std::size_t i = 0; i < equals; ++i) {
        if (!std::isalnum(static_cast<unsigned char>(word[i])) && word[i] != '-' && word[i] != '_') return {"", word};
    }
    return {word.substr(0, equals), word.substr(equals + 1)};
}

}  // namespace

bool split_words(std::string_view text, std::vector<std::string>& words) {
    std::string word;
    bool quoted = false;
    bool started = false;
    int depth = 0;  // of inline JSON, whose blanks and quotes belong to it
    bool json_quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (depth > 0) {
            word += c;
            if (c == '\\' && json_quoted && i + 1 < text.size()) {
                word += text[++i];
            } else if (c == '"') {
                json_quoted = !json_quoted;
            } else if (!json_quoted) {
                depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
            }
        } else if (quoted) {
            if (c == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) {
                word += text[++i];
            } else if (c == '"') {
                quoted = false;
            } else {
                word += c;
            }
        } else if (c == '"') {
            quoted = started = true;
        } else if (c == ' ' || c == '\t') {
            if (started) words.push_back(std::move(word));
            word.clear();
            started = false;
        } else {
            // Inline JSON opens a word or follows "key=".
            if ((c == '{' || c == '[') && (!started || (!word.empty() && word.back() == '='))) depth = 1;
            word += c;
            started = true;
        }
    }
    if (started) words.push_back(std::move(word));
    return !quoted && depth == 0;
}

bool parse_command_line(std::string_view line, command_line& out, std::string& error) {
    std::string_view text = trimmed(line);
    out = command_line();
    if (text.empty() || text[0] == '#') return true;
    std::string_view after = text;
    const std::string_view first = take_word(after);
    if (first == "agent") {
        const std::string_view selector = take_word(after);
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
    out.rest = text;
    // Payloads are taken as typed; only commands with arguments have words.
    if (out.word == "text" || out.word == "binary" || out.word == "fragments" || out.word == "raw") return true;
    std::vector<std::string> words;
    if (!split_words(text, words)) {
        error = "a quote or bracket is not closed";
        return false;
    }
    for (const std::string& word : words)
        out.args.push_back(as_argument(word));
    return true;
}

bool parse_int(std::string_view text, int& out) {
    const std::string copy(text);
    if (copy.empty() || !(std::isdigit(static_cast<unsigned char>(copy[0])) || copy[0] == '-')) return false;
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(copy.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || end == copy.c_str() || value < -2147483647 || value > 2147483647) return false;
    out = static_cast<int>(value);
    return true;
}

bool parse_channels(std::string_view text, std::string& out) {
    std::string list;
    std::string piece;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        const char c = i < text.size() ? text[i] : ' ';
        if (c != ',' && c != ' ') {
            piece += c;
            continue;
        }
        if (piece.empty()) continue;
        int channel = 0;
        if (!parse_int(piece, channel) || channel < 0 || channel > 65535) return false;
        list += (list.empty() ? "" : " ") + std::to_string(channel);
        piece.clear();
    }
    out = list;
    return true;
}

bool read_inline_or_file(const std::string& text, std::string& out, std::string& error) {
    if (!text.empty() && (text[0] == '{' || text[0] == '[')) {
        out = text;
        return true;
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

}  // namespace ravd::lab
