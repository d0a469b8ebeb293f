#include "sim/ap/json_cursor.h"

#include <json-c/json.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace ravd::sim {

json_cursor::json_cursor(json_object* value, std::string place, std::string& fault)
    : value_(value), place_(std::move(place)), fault_(&fault) {}

bool json_cursor::is_object() const { return json_object_is_type(value_, json_type_object); }

json_object* json_cursor::member(const char* key) const {
    json_object* found = nullptr;
    if (is_object()) json_object_object_get_ex(value_, key, &found);
    return found;
}

std::string json_cursor::place_of(const char* key) const { return place_.empty() ? key : place_ + "." + key; }

bool json_cursor::has(const char* key) const { return member(key) != nullptr; }

void json_cursor::fail_at(const char* key, const std::string& reason) const {
    if (fault_->empty()) *fault_ = place_of(key) + ": " + reason;
}

void json_cursor::fail(const std::string& reason) const {
    if (fault_->empty()) *fault_ = (place_.empty() ? "the whole text" : place_) + ": " + reason;
}

json_cursor json_cursor::child(const char* key) const {
    json_object* found = member(key);
    if (!found)
        fail_at(key, "is missing");
    else if (!json_object_is_type(found, json_type_object))
        fail_at(key, "must be an object");
    return {found, place_of(key), *fault_};
}

std::vector<json_cursor> json_cursor::elements(const char* key) const {
    std::vector<json_cursor> all;
    json_object* found = member(key);
    if (!found) return all;
    if (!json_object_is_type(found, json_type_array)) {
        fail_at(key, "must be an array");
        return all;
    }
    const std::size_t count = json_object_array_length(found);
    for (std::size_t i = 0; i < count; ++i) {
        json_cursor element(json_object_array_get_idx(found, i), place_of(key) + "[" + std::to_string(i) + "]",
                            *fault_);
        if (!element.is_object()) element.fail("must be an object");
        all.push_back(element);
    }
    return all;
}

std::string json_cursor::text(const char* key, const std::string& fallback, std::size_t max_bytes) const {
    json_object* found = member(key);
    if (!found) return fallback;
    if (!json_object_is_type(found, json_type_string)) {
        fail_at(key, "must be a text");
        return fallback;
    }
    const auto size = static_cast<std::size_t>(json_object_get_string_len(found));
    if (size > max_bytes) {
        fail_at(key, "must have at most " + std::to_string(max_bytes) + " bytes");
        return fallback;
    }
    return {json_object_get_string(found), size};
}

std::string json_cursor::required_text(const char* key, std::size_t max_bytes) const {
    if (!has(key)) fail_at(key, "is missing");
    return text(key, "", max_bytes);
}

int json_cursor::checked(json_object* value, const std::string& place, int fallback, int low, int high) const {
    std::string reason;
    if (!json_object_is_type(value, json_type_int)) {
        reason = "must be a whole number";
    } else {
        const auto number = json_object_get_int64(value);
        if (number >= low && number <= high) return static_cast<int>(number);
        reason = "must be from " + std::to_string(low) + " to " + std::to_string(high);
    }
    if (fault_->empty()) *fault_ = place + ": " + reason;
    return fallback;
}

int json_cursor::integer(const char* key, int fallback, int low, int high) const {
    json_object* found = member(key);
    return found ? checked(found, place_of(key), fallback, low, high) : fallback;
}

int json_cursor::required_integer(const char* key, int low, int high) const {
    if (!has(key)) fail_at(key, "is missing");
    return integer(key, low, low, high);
}

double json_cursor::number(const char* key, double fallback, double low, double high) const {
    json_object* found = member(key);
    if (!found) return fallback;
    const double value = json_object_get_double(found);
    const bool numeric = json_object_is_type(found, json_type_int) || json_object_is_type(found, json_type_double);
    if (numeric && value >= low && value <= high) return value;
    fail_at(key, "must be a number from " + std::to_string(low) + " to " + std::to_string(high));
    return fallback;
}

bool json_cursor::flag(const char* key, bool fallback) const {
    json_object* found = member(key);
    if (!found) return fallback;
    if (json_object_is_type(found, json_type_boolean)) return json_object_get_boolean(found) != 0;
    fail_at(key, "must be true or false");
    return fallback;
}

std::string json_cursor::word(const char* key, const char* fallback, std::initializer_list<const char*> words) const {
    std::string value = text(key, fallback, 64);
    std::string list;
    for (const char* word : words) {
        if (value == word) return value;
        list += (list.empty() ? "" : ", ") + std::string(word);
    }
    fail_at(key, "\"" + value + "\" is none of: " + list);
    return fallback;
}

std::vector<int> json_cursor::integers(const char* key, const std::vector<int>& fallback, int low, int high) const {
    json_object* found = member(key);
    if (!found) return fallback;
    std::vector<int> all;
    if (!json_object_is_type(found, json_type_array)) {
        fail_at(key, "must be an array");
        return all;
    }
    for (std::size_t i = 0; i < json_object_array_length(found); ++i)
        all.push_back(checked(json_object_array_get_idx(found, i), place_of(key) + "[" + std::to_string(i) + "]", low,
                              low, high));
    return all;
}

void json_cursor::allow(std::initializer_list<const char*> names) const {
    if (!is_object()) return;
    json_object_object_foreach(value_, key, unused) {
        (void)unused;
        const auto same = [key](const char* name) { return std::strcmp(name, key) == 0; };
        if (std::none_of(names.begin(), names.end(), same)) fail_at(key, "is not known here");
    }
}

}  // namespace ravd::sim
