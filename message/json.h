// Building and reading JSON messages: thin wrappers over json-c that fix the envelope, the compact form and what a
// missing member reads as.
#pragma once

#include <cstdint>
#include <functional>

struct json_object;

namespace ravd {

class safe_queue;

// One node of a message under construction, on the stack of the code that builds it. The root owns the whole tree;
// a child belongs to its parent's tree and must not outlive the root. An array holds either scalar values or child
// containers, never both. Members are serialised in the order in which they were added.
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
    ~json_writer();

    // In an array the key is ignored and values take positions 0, 1, 2 ... A null value is left out. Strings that are
    // not UTF-8 go out with U+FFFD for what cannot be read.
    void add_string(const char* key, const char* value);
    void add_int(const char* key, std::int32_t value);
    // A value whose JSON text is there already; it goes out as it is. Costs the text, not its tree.
    void add_text(const char* key, const char* json);

    // False when json-c could not allocate the container; adding to it then does nothing.
    bool valid() const { return object_ != nullptr; }
    bool is_array() const { return is_array_; }
    // Compact text, owned by the tree and valid until it changes; "null" for an invalid root.
    const char* text() const;

  private:
    void add(const char* key, json_object* value);

    json_object* object_;
    bool is_array_;
    json_writer* parent_;
    std::int32_t next_index_ = 0;
};

// Read-only view of a received text or of one value in it. Only the reader made by parsing owns its tree; those it
// hands out, and their strings, are valid while it lives.
class json_reader {
  public:
    // Parses `text`, which may be null. valid() is false when it is absent, not JSON, the text "null", or holds more
    // than 65,536 objects and arrays or 262,144 commas.
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
    void for_each(const std::function<bool(const char* key, const json_reader& value)>& take) const;
    // By json-c's conversion; 0 when absent or null.
    std::int32_t get_int(const char* key) const;
    // Text of a member (JSON text when it is not a string); null when absent or null.
    const char* get_string(const char* key) const;

  private:
    explicit json_reader(json_object* object) : object_(object), owned_(false) {}

    json_object* object_;
    bool owned_;
};

// Serialises the root and pushes it. False when the queue refused it or memory ran out: the message is lost.
// `internal` marks it as made by a worker of this process for another.
bool send_json(safe_queue& queue, const json_writer& root, bool internal = false);

}  // namespace ravd
