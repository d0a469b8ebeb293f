#include "message/json_parse.h"

#include <json-c/json.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/json_bound.h"

namespace ravd {
namespace {

// Bytes of a string as it stands in the text. A longer one is a text that counts as absent, or names more channels than
// there are; the parser would hold all of it twice beside the text itself.
constexpr std::size_t string_limit = 1024 * 1024;
constexpr std::size_t escape_length = 6;  // of the longest one

struct piece {
    const char* begin;
    const char* end;
};

// What is left out of the string that begins at `text`, behind its quote: up to the closing one, or the final NUL.
piece rest_of_string(const char* text, char quote) {
    std::size_t cut = 0;       // before an escape beyond the limit
    std::size_t unbroken = 0;  // no escape before that reaches further
    const char* at = find_mark(text, json_string_marks);
    for (; *at != quote && *at != '\0'; at = find_mark(at, json_string_marks)) {
        if (*at == '\\') {
            const auto done = static_cast<std::size_t>(at - text);
            if (done < string_limit)
                unbroken = done + escape_length;
            else if (cut == 0)
                cut = done;
            if (at[1] != '\0') ++at;
        }
        ++at;
    }
    const auto length = static_cast<std::size_t>(at - text);
    if (cut == 0) cut = std::min(std::max(string_limit, unbroken), length);
    return {text + cut, at};
}

// Parses all but what is left out, up to the last such string. False when the parser has come to an end; else `text` is
// what it has not seen yet.
bool parse_long_strings(json_tokener* parser, const char*& text, json_object*& parsed) {
    const char* at = find_mark(text, json_marks);
    // Behind a comment the parser may see other strings.
    for (; *at != '\0' && *at != '/'; at = find_mark(at, json_marks)) {
        const char quote = *at++;
        if (quote != '"' && quote != '\'') continue;
        const piece rest = rest_of_string(at, quote);
        at = rest.end;
        if (*at == '\0') break;
        ++at;
        if (rest.begin == rest.end) continue;
        parsed = json_tokener_parse_ex(parser, text, static_cast<int>(rest.begin - text));
        if (json_tokener_get_error(parser) != json_tokener_continue) return false;
        text = rest.end;
    }
    return true;
}

}  // namespace

json_object* parse_json(const char* text) {
    if (!text || !is_bounded_json(text)) return nullptr;
    json_tokener* const parser = json_tokener_new();
    if (!parser) return nullptr;
    json_object* parsed = nullptr;
    if (std::strlen(text) <= string_limit || parse_long_strings(parser, text, parsed))
        parsed = json_tokener_parse_ex(parser, text, -1);
    if (json_tokener_get_error(parser) != json_tokener_success) {
        json_object_put(parsed);
        parsed = nullptr;
    }
    json_tokener_free(parser);
    return parsed;
}

}  // namespace ravd
