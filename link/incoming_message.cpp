#include "link/incoming_message.h"

#include <utility>

#include "core/logger.h"

namespace ravd {
namespace {

constexpr char place[] = "process_client_receive";

}  // namespace

std::shared_ptr<buffer_info_t> incoming_message::add(const char* in, std::size_t len, std::size_t remaining,
                                                     bool final) {
    if (remaining > 0 || !final) {
        log_debug(process_log, "%s->%s: Get incomplete packet, beginning len %d, remaining len %d\n", name_, place,
                  static_cast<int>(len), static_cast<int>(remaining));
        keep(in, len, false);
        return nullptr;
    }
    if (!in) {
        log_debug(process_log, "%s: Bad Input data\n", place);
        return nullptr;
    }
    std::shared_ptr<buffer_info_t> whole;
    if (keep(in, len, true)) {
        log_debug(process_log, "%s->%s: Recieve final msg len %d from websocket\n", name_, place,
                  static_cast<int>(rx_buffer_->size));
        whole = std::move(rx_buffer_);
    }
    clear();
    return whole;
}

// False when the message cannot be kept; what follows of it is then skipped.
bool incoming_message::keep(const char* in, std::size_t len, bool last) {
    if (skipping_) return false;
    if (len > received_message_limit - rx_buffer_->size) {
        log_warning(process_log, "%s->%s: a message of more than %u bytes is skipped\n", name_, place,
                    static_cast<unsigned>(received_message_limit));
    } else if (rx_buffer_->append(in, len) || (len == 0 && !last)) {
        return true;
    } else {
        log_error(process_log, "%s->%s: can't receive message\n", name_, place);
    }
    clear();
    skipping_ = true;
    return false;
}

void incoming_message::clear() {
    rx_buffer_ = make_buffer();
    skipping_ = false;
}

}  // namespace ravd
