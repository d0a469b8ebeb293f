// Every message with its time, both ways, as JSON lines.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "sim/common/json.h"

namespace ravd::sim {

// One line of the log.
struct log_entry {
    enum class kind { received, sent, event };
    std::int64_t time_ms = 0;  // since 1970, UTC
    unsigned agent = 0;
    std::string ap_mac;  // empty until it is known
    kind what = kind::event;
    std::string_view bytes;          // of a message; of an event its text
    json_object* message = nullptr;  // the bytes as a tree, where they are JSON
    std::string_view line;           // the whole line, without its end
};

class log_listener {
  public:
    virtual ~log_listener() = default;
    // What it points to is there during the call only.
    virtual void logged(const log_entry& entry) = 0;
};

class message_log {
  public:
    message_log() = default;
    ~message_log();
    message_log(const message_log&) = delete;
    message_log& operator=(const message_log&) = delete;

    // Appends to `path`; "-" is standard output. False with the reason in `error`.
    bool open(const std::string& path, std::string& error);
    // From now on everything is told to `listener` too, which outlives the log or is taken away by null.
    void tell(log_listener* listener) { listener_ = listener; }
    bool enabled() const { return file_ || listener_; }

    // One line: {"time":...,"agent":N,"ap-mac":...,"direction":"received"|"sent","size":N,"message":{...}}; what is
    // not one JSON object stands as "text" instead, other bytes as "hex". `message`: the bytes as a tree, where they
    // are one.
    void message(unsigned agent, const std::string& ap_mac, const char* direction, std::string_view bytes,
                 json_object* message);
    // {"time":...,"agent":N,"ap-mac":...,"event":...}
    void event(unsigned agent, const std::string& ap_mac, const std::string& what);

  private:
    void put(log_entry& entry, const json_ptr& line);

    std::FILE* file_ = nullptr;
    log_listener* listener_ = nullptr;
};

}  // namespace ravd::sim
