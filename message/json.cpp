#include "message/json.h"

#include <json-c/json.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/buffer.h"
#include "core/safe_queue.h"
#include "message/utf8.h"
#include "platform/json_bound.h"

namespace ravd {
namespace {

constexpr const char* message_version = "2.4";

// Null when the text is too long for json-c or memory ran out.
json_object* new_utf8_string(const char* value) {
    const std::size_t length = std::strlen(value);
    if (is_utf8(value, length))
        return length > INT_MAX ? nullptr : json_object_new_string_len(value, static_cast<int>(length));
    const std::string clean = replace_non_utf8(value, length);
    return clean.size() > INT_MAX ? nullptr : json_object_new_string_len(clean.data(), static_cast<int>(clean.size()));
}

// Null for an absent member, a member that is JSON null, and a value that is no object.
json_object* member(json_object* object, const char* key) {
    json_object* value = nullptr;
    if (!object || !key || !json_object_is_type(object, json_type_object)) return nullptr;
    json_object_object_get_ex(object, key, &value);
    return value;
}

}  // namespace

json_writer::json_writer(const char* service, const char* cmd, const char* ap_mac)
    : object_(json_object_new_object()), is_array_(false), parent_(nullptr) {
    add_string("version", message_version);
    if (service && *service) add_string("service", service);
    if (cmd && *cmd) add_string("cmd", cmd);
    if (ap_mac && *ap_mac) add_string("ap-mac", ap_mac);
}

json_writer::json_writer(bool is_array, json_writer& parent, const char* key)
    : object_(nullptr), is_array_(is_array), parent_(&parent) {
    if (!parent.object_ || (!parent.is_array_ && !key)) return;
    object_ = is_array ? json_object_new_array() : json_object_new_object();
    if (!object_) return;
    const int failed = parent.is_array_ ? json_object_array_add(parent.object_, object_)
                                        : json_object_object_add(parent.object_, key, object_);
    if (failed) {
        json_object_put(object_);
        object_ = nullptr;
    }
}

json_writer::json_writer(bool is_array)
    : object_(is_array ? json_object_new_array() : json_object_new_object()), is_array_(is_array), parent_(nullptr) {}

json_writer::~json_writer() {
    if (!parent_ && object_) json_object_put(object_);
}

void json_writer::add_string(const char* key, const char* value) {
    if (object_ && value) add(key, new_utf8_string(value));
}

void json_writer::add_int(const char* key, std::int32_t value) {
    if (object_) add(key, json_object_new_int(value));
}

void json_writer::add_text(const char* key, const char* json) {
    char* const text = object_ && json ? strdup(json) : nullptr;
    json_object* const value = text ? json_object_new_object() : nullptr;
    if (!value) return std::free(text);
    json_object_set_serializer(value, json_object_userdata_to_json_string, text, json_object_free_userdata);
    add(key, value);
}

void json_writer::add(const char* key, json_object* value) {
    if (!value) return;
    int failed = -1;
    if (is_array_) {
        failed = json_object_array_put_idx(object_, static_cast<std::size_t>(next_index_), value);
        if (!failed) ++next_index_;
    } else if (key) {
        failed = json_object_object_add(object_, key, value);
    }
    if (failed) json_object_put(value);
}

const char* json_writer::text() const {
    return object_ ? json_object_to_json_string_ext(object_, JSON_C_TO_STRING_PLAIN) : "null";
}

json_reader::json_reader(const char* text)
    : object_(text && is_bounded_json(text) ? json_tokener_parse(text) : nullptr), owned_(true) {}

json_reader::~json_reader() {
    if (owned_ && object_) json_object_put(object_);
}

bool json_reader::is_object() const { return json_object_is_type(object_, json_type_object) != 0; }

json_reader json_reader::child(const char* key) const { return json_reader(member(object_, key)); }

json_reader json_reader::at(std::int32_t index) const {
    if (index < 0 || index >= size()) return json_reader(static_cast<json_object*>(nullptr));
    return json_reader(json_object_array_get_idx(object_, static_cast<std::size_t>(index)));
}

std::int32_t json_reader::size() const {
    if (!object_ || !json_object_is_type(object_, json_type_array)) return 0;
    const std::size_t length = json_object_array_length(object_);
    return length > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(length);
}

void json_reader::for_each(const std::function<bool(const char* key, const json_reader& value)>& take) const {
    if (!is_object()) return;
    json_object_object_foreach(object_, key, value) {
        if (!take(key, json_reader(value))) return;
    }
}

std::int32_t json_reader::get_int(const char* key) const {
    json_object* value = member(object_, key);
    return value ? json_object_get_int(value) : 0;
}

const char* json_reader::get_string(const char* key) const {
    json_object* value = member(object_, key);
    return value ? json_object_get_string(value) : nullptr;
}

bool send_json(safe_queue& queue, const json_writer& root, bool internal) {
    const char* text = root.text();
    if (!text) return false;
    const auto buffer = make_buffer();
    if (!buffer->append(text, std::strlen(text))) return false;
    buffer->internal = internal;
    return queue.push(buffer);
}

}  // namespace ravd
