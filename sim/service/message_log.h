// Every message with its time, both ways, as JSON lines.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

struct json_object;

namespace ravd::sim {

class message_log {
  public:
    message_log() = default;
    ~message_log();
    message_log(const message_log&) = delete;
    message_log& operator=(const message_log&) = delete;

    // Appends to `path`; "-" is standard output. False with the reason in `error`.
    bool open(const std::string& path, std::string& error);
    bool enabled() const { return file_ != nullptr; }

    // One line: {"time":...,"agent":N,"ap-mac":...,"direction":"received"|"sent","size":N,"message":{...}}; what is
    // not one JSON object stands as "text" instead, other bytes as "hex". `message`: the bytes as a tree, where they
    // are one.
    void message(unsigned agent, const std::string& ap_mac, const char* direction, std::string_view bytes,
                 json_object* message);
    // {"time":...,"agent":N,"ap-mac":...,"event":...}
    void event(unsigned agent, const std::string& ap_mac, const std::string& what);

  private:
    std::FILE* file_ = nullptr;
};

}  // namespace ravd::sim
