#include "hostd/lines.h"

#include "tools/common/number.h"

namespace ravd::hostd {

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(" \t\r") + 1 - first));
}

std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(trimmed(text.substr(0, end)));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> words;
    for (std::size_t at = 0; (at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos;) {
        const std::size_t end = text.find_first_of(" \t\r\n", at);
        words.emplace_back(text.substr(at, end == std::string_view::npos ? end : end - at));
        if (end == std::string_view::npos) break;
        at = end;
    }
    return words;
}

std::string line_value(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == '=')
            return std::string(line.substr(key.size() + 1));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return {};
}

std::string plain_path(std::string path) {
    const std::size_t at = path.find("-vap");
    if (at != std::string::npos) path.erase(at + 3, 1);
    return path;
}

std::int64_t number_of(std::string_view text, std::int64_t high) {
    std::int64_t number = -1;
    parse_number(text, 0, high, number);
    return number;
}

}  // namespace ravd::hostd
