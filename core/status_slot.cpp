#include "core/status_slot.h"

#include <unistd.h>

#include <cstdint>
#include <utility>

namespace ravd {

void status_slot::ask(int told_fd) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        told_fd_ = told_fd;
    }
    asked_.store(true);
}

std::string status_slot::told() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return members_;
}

void status_slot::tell(std::string members) {
    const std::lock_guard<std::mutex> lock(mutex_);
    members_ = std::move(members);
    asked_.store(false);
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = told_fd_ != -1 ? write(told_fd_, &one, sizeof one) : 0;
}

}  // namespace ravd
