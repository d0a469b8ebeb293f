#include "sim/service/json_value.h"

#include <climits>

namespace ravd::lab {

namespace {

struct tokener_release {
    void operator()(json_tokener* tokener) const { json_tokener_free(tokener); }
};

// What the parser lets pass although it is no JSON (single quotes, comments, NaN), and what would grow a huge tree.
const char* hidden_fault(std::string_view text) {
    std::size_t containers = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                quoted = false;
            }
        } else if (c == '"') {
            quoted = true;
        } else if ((c == '{' || c == '[') && ++containers > json_container_limit) {
            return "more than 65536 objects and arrays";
        } else if (c == '\'' || c == '/' || c == 'N' || c == 'I') {
            return "a character that stands only in strings";
        }
    }
    return nullptr;
}

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
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
    }
    if (first == 0xe0 && byte(1) < 0xa0) return 0;
    if (first == 0xed && byte(1) > 0x9f) return 0;
    if (first == 0xf0 && byte(1) < 0x90) return 0;
    if (first == 0xf4 && byte(1) > 0x8f) return 0;
    return length;
}

}  // namespace

json_ptr parse_json(std::string_view text, std::string& error) {
    if (text.size() >= INT_MAX) {
        error = "the text is too long";
        return nullptr;
    }
    if (const char* fault = hidden_fault(text)) {
        error = fault;
        return nullptr;
    }
    const std::unique_ptr<json_tokener, tokener_release> tokener(json_tokener_new());
    if (!tokener) {
        error = "out of memory";
        return nullptr;
    }
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    // The final NUL ends a number at the top level.
    const std::string terminated(text);
    json_ptr value(json_tokener_parse_ex(tokener.get(), terminated.c_str(), static_cast<int>(terminated.size() + 1)));
    const json_tokener_error state = json_tokener_get_error(tokener.get());
    if (state != json_tokener_success) {
        error = json_tokener_error_desc(state);
        error += " at byte " + std::to_string(json_tokener_get_parse_end(tokener.get()));
        return nullptr;
    }
    if (!value) error = "the text is null";
    return value;
}

json_object* json_member(json_object* object, const char* key) {
    json_object* value = nullptr;
    if (!json_object_is_type(object, json_type_object)) return nullptr;
    return json_object_object_get_ex(object, key, &value) ? value : nullptr;
}

json_object* json_element(json_object* array, std::size_t index) {
    return index < json_length(array) ? json_object_array_get_idx(array, index) : nullptr;
}

std::size_t json_length(json_object* array) {
    return json_object_is_type(array, json_type_array) ? json_object_array_length(array) : 0;
}

std::string json_text(json_object* object, const char* key, const char* fallback) {
    json_object* value = json_member(object, key);
    const char* text = value ? json_object_get_string(value) : nullptr;
    return text ? text : fallback;
}

std::int32_t json_number(json_object* object, const char* key, std::int32_t fallback) {
    json_object* value = json_member(object, key);
    return value ? json_object_get_int(value) : fallback;
}

void json_put(json_object* object, const char* key, const std::string& text) {
    if (object) {
        json_object_object_add(object, key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
    }
}

void json_put(json_object* object, const char* key, int number) {
    if (object) json_object_object_add(object, key, json_object_new_int(number));
}

void json_put(json_object* object, const char* key, json_ptr value) {
    if (object && value) json_object_object_add(object, key, value.release());
}

std::string json_compact(json_object* object) {
    const char* text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    return text ? text : "null";
}

std::string printable(std::string_view text, std::size_t limit) {
    std::string out;
    while (!text.empty() && out.size() < limit) {
        const std::size_t length = utf8_length(text);
        const auto first = static_cast<unsigned char>(text[0]);
        // C1 control characters are two bytes: 0xc2 0x80 to 0xc2 0x9f.
        const bool control = first < 0x20 || first == 0x7f ||
                             (length == 2 && first == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0);
        if (length == 0 || control) {
            out += '?';
        } else {
            out.append(text.substr(0, length));
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

}  // namespace ravd::lab
