// Messages between this worker and its neighbours in the process.

#include <strings.h>

#include <cstring>
#include <ctime>
#include <string_view>

#include "core/logger.h"
#include "link/websock_worker.h"
#include "message/json.h"

namespace ravd {
namespace {

constexpr char internal_service[] = "internal-ipc";
constexpr char timezone_command[] = "update-timezone";

// Whether the hyphen at `at` is that of `word`, in whatever case.
bool is_hyphen_of(std::string_view word, std::string_view text, std::size_t at) {
    const std::size_t before = word.find('-');
    return before <= at && word.size() - before <= text.size() - at &&
           strncasecmp(text.data() + at - before, word.data(), word.size()) == 0;
}

// False only where parsing cannot find anything for this worker, which spares a tree of many times the size of a long
// message. A "\u" may hide any letter.
bool may_concern_us(std::string_view text) {
    // Each word holds one hyphen, and finding that is many times cheaper than a search for the words.
    for (std::size_t at = text.find('-'); at != text.npos; at = text.find('-', at + 1))
        if (is_hyphen_of(internal_service, text, at) || is_hyphen_of(timezone_command, text, at)) return true;
    return text.find("\\u") != text.npos;
}

}  // namespace

bool websock_worker::handle_internal(const buffer_info_t& buffer) {
    if (!may_concern_us(buffer.text())) return false;
    const json_reader message(buffer.data);
    if (!message.valid()) return false;
    const char* command = message.get_string("command");
    if (command && std::strcmp(command, timezone_command) == 0) tzset();
    const char* service = message.get_string("service");
    if (!service || strcasecmp(service, internal_service) != 0) return false;
    const char* cmd = message.get_string("cmd");
    if (cmd && strcasecmp(cmd, "status") == 0) {
        send_link_status(established_);
    } else if (cmd && strcasecmp(cmd, "unlink") == 0) {
        process_internal_unlink();
    }
    return true;
}

void websock_worker::process_internal_unlink() {
    log_debug(process_log, "%s->%s:%d\n", name(), "process_internal_unlink", __LINE__);
    alive_ = false;
    unlinked_ = true;
}

void websock_worker::send_link_status(bool connected) {
    if (connected) {
        connected_unsent_ = true;
    } else {
        disconnected_unsent_ = true;
        connected_unsent_ = false;
    }
    flush_link_status();
}

// False while the consumer's queue is full.
bool websock_worker::flush_link_status() {
    const auto push = [this](const char* cmd) {
        const json_writer message(internal_service, cmd, nullptr);
        return send_json(output_, message, true);
    };
    if (disconnected_unsent_) {
        if (!push("disconnected")) return false;
        disconnected_unsent_ = false;
    }
    if (connected_unsent_) {
        if (!push("connected")) return false;
        connected_unsent_ = false;
    }
    return true;
}

}  // namespace ravd
