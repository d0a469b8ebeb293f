#include "sim/service/message_log.h"

#include <cerrno>
#include <cstring>

#include "sim/common/text.h"
#include "sim/service/clock.h"

namespace ravd::sim {
namespace {

json_ptr line_start(unsigned agent, const std::string& ap_mac, log_entry& entry) {
    entry.time_ms = wall_ms();
    entry.agent = agent;
    entry.ap_mac = ap_mac;
    json_ptr line = new_json_object();
    json_put(line.get(), "time", timestamp(entry.time_ms));
    json_put(line.get(), "agent", static_cast<int>(agent));
    if (!ap_mac.empty()) json_put(line.get(), "ap-mac", ap_mac);
    return line;
}

std::string hex(std::string_view bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const char c : bytes) {
        out += digits[static_cast<unsigned char>(c) >> 4];
        out += digits[static_cast<unsigned char>(c) & 15];
    }
    return out;
}

void write_line(std::FILE* file, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), file);
    std::fputc('\n', file);
    std::fflush(file);
}

}  // namespace

message_log::~message_log() {
    if (file_ && file_ != stdout) std::fclose(file_);
}

bool message_log::open(const std::string& path, std::string& error) {
    file_ = path == "-" ? stdout : std::fopen(path.c_str(), "a");
    if (!file_) error = "cannot write " + path + ": " + std::strerror(errno);
    return file_ != nullptr;
}

void message_log::message(unsigned agent, const std::string& ap_mac, const char* direction, std::string_view bytes,
                          json_object* message) {
    if (!enabled()) return;
    log_entry entry = {};
    json_ptr line = line_start(agent, ap_mac, entry);
    entry.what = std::string_view(direction) == "sent" ? log_entry::kind::sent : log_entry::kind::received;
    entry.bytes = bytes;
    entry.message = message;
    json_put(line.get(), "direction", std::string(direction));
    json_put(line.get(), "size", static_cast<int>(bytes.size()));
    if (json_object_is_type(message, json_type_object))
        json_put(line.get(), "message", json_ptr(json_object_get(message)));
    else if (printable(bytes) == bytes)
        json_put(line.get(), "text", std::string(bytes));
    else
        json_put(line.get(), "hex", hex(bytes));
    put(entry, line);
}

void message_log::event(unsigned agent, const std::string& ap_mac, const std::string& what) {
    if (!enabled()) return;
    log_entry entry = {};
    json_ptr line = line_start(agent, ap_mac, entry);
    const std::string text = printable(what);
    entry.bytes = text;
    json_put(line.get(), "event", text);
    put(entry, line);
}

void message_log::put(log_entry& entry, const json_ptr& line) {
    const std::string text = json_compact(line.get());
    entry.line = text;
    if (file_) write_line(file_, text);
    if (listener_) listener_->logged(entry);
}

}  // namespace ravd::sim
