// Building and reading JSON messages: they fix the envelope, the compact form and what a missing member reads as.
// Messages are written as text at once; what comes is read by json-c, as whose texts ours look.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/function_ref.h"
#include "message/json_text.h"

struct json_object;

namespace ravd {

class safe_queue;
struct buffer_info_t;

// One container of a message under construction, on the stack of the code that builds it. The root owns the message's
// text; the other containers of it must not outlive it. Everything is written down in the order in which it is added:
// adding to a container completes those within it, which take nothing more from then on.
class json_writer {
  public:
    // Root object with "version" "2.4", then "service", "cmd" and "ap-mac", each left out when null or empty.
    json_writer(const char* service, const char* cmd, const char* ap_mac);
    // Child container: appended when `parent` is an array, else its member `key`.
    json_writer(bool is_array, json_writer& parent, const char* key);
    // Root container without an envelope.
    explicit json_writer(bool is_array);
    json_writer(const json_writer&) = delete;
    json_writer& operator=(const json_writer&) = delete;
    ~json_writer() = default;

    // In an array the key is ignored. A null value is left out. What is not UTF-8 in a key or text goes out as U+FFFD.
    // Keys of one object must differ.
    void add_string(const char* key, const char* value);
    void add_int(const char* key, std::int32_t value);

    // False when the container could not be begun; adding to it then does nothing.
    bool valid() const { return place_ != json_text::nowhere; }
    // Bytes of the message so far.
    std::size_t size() const { return text_->size(); }
    // Compact text of the whole message, valid until something is added; null when memory ran out.
    const char* text() const { return text_->finished(); }

  private:
    std::unique_ptr<json_text> own_;  // of the root
    json_text* text_;
    json_text::place place_;
};

// Read-only view of a received text or of one value in it. Only the reader made by parsing owns its tree; those it
// hands out, and their strings, are valid while it lives.
class json_reader {
  public:
    // Parses `text`, which may be null. valid() is false when it is absent, not JSON, the text "null", or holds more
    // than 65,536 objects and arrays or 262,144 commas. Of a string of more than 1 MiB only the beginning is read.
    explicit json_reader(const char* text);
    json_reader(const json_reader&) = delete;
    json_reader& operator=(const json_reader&) = delete;
    ~json_reader();

    bool valid() const { return object_ != nullptr; }
    bool is_object() const;
    // Member `key`, or element `index` of an array; an invalid reader when there is none.
    json_reader child(const char* key) const;
    json_reader at(std::int32_t index) const;
    // Length of an array; 0 for anything else.
    std::int32_t size() const;
    // Calls `take` with each member of an object, in order; it may not change anything and ends at the first false.
    void for_each(function_ref<bool(const char* key, const json_reader& value)> take) const;
    // By json-c's conversion; 0 when absent or null.
    std::int32_t get_int(const char* key) const;
    // Text of a member (JSON text when it is not a string); null when absent or null.
    const char* get_string(const char* key) const;

  private:
    explicit json_reader(json_object* object) : object_(object), owned_(false) {}

    json_object* object_;
    bool owned_;
};

// The message of `root`; null when memory ran out.
std::shared_ptr<buffer_info_t> make_message(const json_writer& root);

// Pushes the message of `root`. False when the queue refused it or memory ran out: the message is lost.
// `internal` marks it as made by a worker of this process for another.
bool send_json(safe_queue& queue, const json_writer& root, bool internal = false);

}  // namespace ravd
