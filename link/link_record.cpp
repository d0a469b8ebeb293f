#include "link/link_record.h"

#include <algorithm>

#include "message/status_page.h"

namespace ravd {

void link_record::begin_wait(std::int64_t now_s, std::int64_t until_s) {
    state_ = "waiting";
    since_s_ = now_s;
    next_attempt_s_ = until_s;
}

void link_record::begin_attempt(std::int64_t now_s) {
    state_ = "connecting";
    since_s_ = now_s;
    ++attempts_;
}

void link_record::begin_link(std::int64_t now_s) {
    state_ = "up";
    since_s_ = now_s;
    ++links_;
}

void link_record::received(std::size_t bytes) {
    ++received_messages_;
    received_bytes_ += bytes;
}

void link_record::dropped(std::size_t unread, std::size_t unsent) {
    dropped_unread_ += unread;
    dropped_unsent_ += unsent;
}

void link_record::describe(std::int64_t now_s, status_page& page) const {
    page.text("state", state_);
    page.number("state_s", now_s - since_s_);
    if (next_attempt_s_ > now_s) page.number("next_attempt_s", next_attempt_s_ - now_s);
    page.number("reconnects", std::max<std::int64_t>(links_, 1) - 1);
}

void link_record::describe_counts(status_page& page) const {
    page.number("attempts", attempts_);
    page.number("received_messages", static_cast<std::int64_t>(received_messages_));
    page.number("received_bytes", static_cast<std::int64_t>(received_bytes_));
    page.number("dropped_unread", static_cast<std::int64_t>(dropped_unread_));
    page.number("dropped_unsent", static_cast<std::int64_t>(dropped_unsent_));
    page.number("lost_for_full_queue", static_cast<std::int64_t>(lost_full_));
}

}  // namespace ravd
