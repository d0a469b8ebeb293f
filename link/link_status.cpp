#include "link/link_status.h"

#include "core/safe_queue.h"
#include "link/internal_message.h"
#include "message/json.h"

namespace ravd {
namespace {

constexpr char connected_cmd[] = "connected";
constexpr char disconnected_cmd[] = "disconnected";

bool is_disconnected(const buffer_info_t& item) {
    return item.internal && item.text().find(disconnected_cmd) != std::string_view::npos;
}

}  // namespace

void link_status::send(bool connected) {
    if (connected) {
        connected_unsent_ = true;
    } else {
        disconnected_unsent_ = true;
        connected_unsent_ = false;
    }
    flush();
}

void link_status::answer(bool connected) {
    asked_ = asked_ || !connected;
    send(connected);
}

bool link_status::flush() {
    if (disconnected_unsent_) {
        const bool told = collapse_ && !asked_ && ends_disconnected_ && output_.size() > 0;
        if (!told && !tell(disconnected_cmd)) return false;
        ends_disconnected_ = true;
        disconnected_unsent_ = asked_ = false;
    }
    if (connected_unsent_) {
        if (!tell(connected_cmd)) return false;
        ends_disconnected_ = connected_unsent_ = false;
    }
    return true;
}

bool link_status::tell(const char* cmd) {
    const json_writer message(internal_service, cmd, nullptr);
    return send_json(output_, message, true);
}

bool link_status::push(const std::shared_ptr<buffer_info_t>& message) {
    if (!flush() || !output_.push_quietly(message)) return false;
    ends_disconnected_ = false;
    unannounced_ = true;
    return true;
}

void link_status::announce() {
    if (unannounced_) output_.announce();
    unannounced_ = false;
}

std::size_t link_status::drop_unread() {
    std::size_t messages = 0;
    output_.remove_if([&messages](const std::shared_ptr<buffer_info_t>& item) {
        if (is_disconnected(*item)) return false;
        if (!item->internal) ++messages;
        return true;
    });
    ends_disconnected_ = true;  // nothing else is left
    return messages;
}

}  // namespace ravd
