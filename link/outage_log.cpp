#include "link/outage_log.h"

#include "core/logger.h"

namespace ravd {
namespace {

constexpr std::size_t reason_limit = 300;

}  // namespace

void outage_log::note(std::string_view reason) {
    if (!reason_.empty()) return;
    reason_ = reason.substr(0, reason_limit);
    for (char& c : reason_)
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7f) c = '?';
    last_ = reason_;
}

void outage_log::report(std::uint32_t next_attempt_s) {
    if (reason_.empty()) return;
    const auto log = reason_ == reported_ ? log_info : log_warning;
    log(process_log, "%s: no link to %s: %s; next attempt in %u s\n", name_, service_.c_str(), reason_.c_str(),
        next_attempt_s);
    reported_.swap(reason_);
    reason_.clear();
}

void outage_log::link_up(const std::string& address) {
    log_info(process_log, "%s: link to %s is up, address %s\n", name_, service_.c_str(), address.c_str());
    reason_.clear();
    reported_.clear();
}

}  // namespace ravd
