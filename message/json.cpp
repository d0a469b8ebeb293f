#include "message/json.h"

#include <json-c/json.h>

#include <cstring>

#include "core/buffer.h"
#include "core/safe_queue.h"
#include "message/json_parse.h"

namespace ravd {
namespace {

constexpr const char* message_version = "2.4";

// Null for an absent member, a member that is JSON null, and a value that is no object.
json_object* member(json_object* object, const char* key) {
    json_object* value = nullptr;
    if (object && key) json_object_object_get_ex(object, key, &value);
    return value;
}

}  // namespace

json_writer::json_writer(const char* service, const char* cmd, const char* ap_mac) : json_writer(false) {
    add_string("version", message_version);
    if (service && *service) add_string("service", service);
    if (cmd && *cmd) add_string("cmd", cmd);
    if (ap_mac && *ap_mac) add_string("ap-mac", ap_mac);
}

json_writer::json_writer(bool is_array, json_writer& parent, const char* key)
    : text_(parent.text_), place_(text_->open(parent.place_, key, is_array)) {}

json_writer::json_writer(bool is_array)
    : own_(std::make_unique<json_text>()), text_(own_.get()), place_(text_->open_root(is_array)) {}

void json_writer::add_string(const char* key, const char* value) {
    if (value) text_->add_string(place_, key, value);
}

void json_writer::add_int(const char* key, std::int32_t value) { text_->add_int(place_, key, value); }

json_reader::json_reader(const char* text) : object_(parse_json(text)), owned_(true) {}

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

void json_reader::for_each(function_ref<bool(const char* key, const json_reader& value)> take) const {
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

std::shared_ptr<buffer_info_t> make_message(const json_writer& root) {
    const char* text = root.text();
    if (!text) return nullptr;
    auto buffer = make_buffer();
    return buffer->append(text, std::strlen(text)) ? buffer : nullptr;
}

bool send_json(safe_queue& queue, const json_writer& root, bool internal) {
    const auto buffer = make_message(root);
    if (!buffer) return false;
    buffer->internal = internal;
    return queue.push(buffer);
}

}  // namespace ravd
