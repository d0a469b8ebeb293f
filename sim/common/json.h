// The little of json-c that the simulation needs: owned trees, strict parsing of hostile text, null-safe reading.
#pragma once

#include <json-c/json.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace ravd::sim {

struct json_release {
    void operator()(json_object* object) const { json_object_put(object); }
};
using json_ptr = std::unique_ptr<json_object, json_release>;

// Objects plus arrays that one text may hold; three bytes can cost a kilobyte of tree.
constexpr std::size_t json_container_limit = 65536;

// Strict: one value, nothing behind it, valid UTF-8. Null with the reason in `error` otherwise, and where in the text,
// in bytes, in `place`.
json_ptr parse_json(std::string_view text, std::string& error, std::size_t& place);
// The same, with the place in the reason.
json_ptr parse_json(std::string_view text, std::string& error);

// Member of an object; null when `object` is null or no object, or the member is absent or null.
json_object* json_member(json_object* object, const char* key);
// The element, or null when `array` is no array or is shorter.
json_object* json_element(json_object* array, std::size_t index);
std::size_t json_length(json_object* array);

// Neutral defaults when the member is absent.
std::string json_text(json_object* object, const char* key, const char* fallback = "");
std::int32_t json_number(json_object* object, const char* key, std::int32_t fallback = 0);

// New members, for building; a null container is ignored.
void json_put(json_object* object, const char* key, const std::string& text);
void json_put(json_object* object, const char* key, const char* text);
void json_put(json_object* object, const char* key, std::int64_t number);
inline void json_put(json_object* object, const char* key, int number) {
    json_put(object, key, static_cast<std::int64_t>(number));
}
// Not json_put(): a pointer would turn into a flag.
void json_put_flag(json_object* object, const char* key, bool flag);
// Takes over `value`.
void json_put(json_object* object, const char* key, json_ptr value);
// The same at the end of an array.
void json_append(json_object* array, json_ptr value);
json_ptr new_json_object();
json_ptr new_json_array();
// A number that is written as `text`, or with six digits behind the point.
json_ptr json_decimal(double value, const std::string& text);
inline json_ptr json_decimal(double value) { return json_decimal(value, std::to_string(value)); }
// An array of texts.
template <typename Texts>
json_ptr json_texts(const Texts& texts) {
    json_ptr list = new_json_array();
    for (const std::string& text : texts)
        json_append(list.get(), json_ptr(json_object_new_string_len(text.data(), static_cast<int>(text.size()))));
    return list;
}

// No spaces, slashes as they are.
std::string json_compact(json_object* object);

}  // namespace ravd::sim
