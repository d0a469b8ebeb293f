#include "sim/common/text.h"

#include <algorithm>

namespace ravd::sim {
namespace {

// Length of the UTF-8 sequence at `text`, 0 when it is none.
std::size_t utf8_length(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    const std::size_t length = first < 0x80                    ? 1
                               : first >= 0xc2 && first < 0xe0 ? 2
                               : first >= 0xe0 && first < 0xf0 ? 3
                               : first >= 0xf0 && first < 0xf5 ? 4
                                                               : 0;
    if (length == 0 || length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xc0) != 0x80) return 0;
    if (first == 0xe0 && byte(1) < 0xa0) return 0;
    if (first == 0xed && byte(1) > 0x9f) return 0;
    if (first == 0xf0 && byte(1) < 0x90) return 0;
    if (first == 0xf4 && byte(1) > 0x8f) return 0;
    return length;
}

// Letters to change, add or leave out until one text is the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j + 1] + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr const char* blanks = " \t\r\n";
    const std::size_t begin = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::string_view take_word(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const std::size_t end = std::min(text.find_first_of(" \t"), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

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
            if (c == '\\' && json_quoted && i + 1 < text.size())
                word += text[++i];
            else if (c == '"')
                json_quoted = !json_quoted;
            else if (!json_quoted)
                depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
        } else if (quoted) {
            if (c == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\'))
                word += text[++i];
            else if (c == '"')
                quoted = false;
            else
                word += c;
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

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
    std::string best;
    std::size_t least = std::min<std::size_t>(3, word.size() / 2 + 1);
    for (const std::string& one : known) {
        const std::size_t apart = distance(word, one);
        if (apart < least) best = one;
        least = std::min(least, apart);
    }
    return best;
}

std::string printable(std::string_view text, std::size_t limit) {
    std::string out;
    while (!text.empty() && out.size() < limit) {
        const std::size_t length = utf8_length(text);
        const auto first = static_cast<unsigned char>(text[0]);
        // C1 control characters are two bytes: 0xc2 0x80 to 0xc2 0x9f.
        const bool control = first < 0x20 || first == 0x7f ||
                             (length == 2 && first == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0);
        if (length == 0 || control)
            out += '?';
        else
            out.append(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

}  // namespace ravd::sim
