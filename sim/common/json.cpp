#include "sim/common/json.h"

#include <algorithm>
#include <climits>

namespace ravd::sim {
namespace {

struct tokener_release {
    void operator()(json_tokener* tokener) const { json_tokener_free(tokener); }
};

// What the parser lets pass although it is no JSON (single quotes, comments, NaN), and what would grow a huge tree.
const char* hidden_fault(std::string_view text, std::size_t& place) {
    std::size_t containers = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        place = i;
        if (quoted) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                quoted = false;
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

}  // namespace

json_ptr parse_json(std::string_view text, std::string& error, std::size_t& place) {
    place = 0;
    if (text.size() >= INT_MAX) {
        error = "the text is too long";
        return nullptr;
    }
    // Kept, since making one costs half of what parsing a short text does.
    thread_local std::unique_ptr<json_tokener, tokener_release> tokener;
    if (!tokener) tokener.reset(json_tokener_new());
    if (!tokener) {
        error = "out of memory";
        return nullptr;
    }
    if (const char* fault = hidden_fault(text, place)) {
        error = fault;
        return nullptr;
    }
    json_tokener_reset(tokener.get());
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    // The final NUL ends a number at the top level.
    const std::string terminated(text);
    json_ptr value(json_tokener_parse_ex(tokener.get(), terminated.c_str(), static_cast<int>(terminated.size() + 1)));
    const json_tokener_error state = json_tokener_get_error(tokener.get());
    place = std::min(json_tokener_get_parse_end(tokener.get()), text.size());
    if (state != json_tokener_success) {
        error = json_tokener_error_desc(state);
        return nullptr;
    }
    if (!value) error = "the text is null";
    return value;
}

json_ptr parse_json(std::string_view text, std::string& error) {
    std::size_t place = 0;
    json_ptr value = parse_json(text, error, place);
    if (!value) error += " at byte " + std::to_string(place);
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
    if (object)
        json_object_object_add(object, key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

void json_put(json_object* object, const char* key, const char* text) { json_put(object, key, std::string(text)); }

void json_put(json_object* object, const char* key, std::int64_t number) {
    if (object) json_object_object_add(object, key, json_object_new_int64(number));
}

void json_put_flag(json_object* object, const char* key, bool flag) {
    if (object) json_object_object_add(object, key, json_object_new_boolean(flag));
}

void json_put(json_object* object, const char* key, json_ptr value) {
    if (object && value) json_object_object_add(object, key, value.release());
}

void json_append(json_object* array, json_ptr value) { json_object_array_add(array, value.release()); }

json_ptr new_json_object() { return json_ptr(json_object_new_object()); }
json_ptr new_json_array() { return json_ptr(json_object_new_array()); }
json_ptr json_decimal(double value, const std::string& text) {
    return json_ptr(json_object_new_double_s(value, text.c_str()));
}

std::string json_compact(json_object* object) {
    const char* text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    return text ? text : "null";
}

}  // namespace ravd::sim
