// The little of json-c that the lab service needs: owned trees, strict parsing of hostile text, null-safe reading.
#pragma once

#include <json-c/json.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace ravd::lab {

struct json_release {
    void operator()(json_object* object) const { json_object_put(object); }
};
using json_ptr = std::unique_ptr<json_object, json_release>;

// Objects plus arrays that one text may hold; three bytes can cost a kilobyte of tree.
constexpr std::size_t json_container_limit = 65536;

// Strict: one value, nothing behind it, valid UTF-8. Null with the reason in `error` otherwise.
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
void json_put(json_object* object, const char* key, int number);
// Takes over `value`.
void json_put(json_object* object, const char* key, json_ptr value);

// No spaces, slashes as they are.
std::string json_compact(json_object* object);

// `text` fit for a terminal: control characters and invalid UTF-8 become '?', at most `limit` bytes.
std::string printable(std::string_view text, std::size_t limit = std::string::npos);

}  // namespace ravd::lab
