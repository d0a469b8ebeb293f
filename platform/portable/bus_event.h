// Something that one side sets and the other waits for.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

#include "platform/unique_fd.h"

namespace ravd {

// Its descriptor is readable while the event is set; not while nobody waits for it. Used under the endpoint's lock.
class bus_event {
  public:
    bus_event() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    int descriptor() const { return fd_.get(); }  // -1: there was none to be had
    void set() {
        if (set_) return;
        set_ = true;
        tell();
    }
    void clear() {
        if (!set_) return;
        set_ = false;
        std::uint64_t count;
        if (awaited_) (void)!::read(fd_.get(), &count, sizeof count);
    }
    bool awaited() const { return awaited_; }
    // False: nobody waits for it, so that it costs no system call. True is the beginning.
    void set_awaited(bool awaited) {
        if (awaited == awaited_) return;
        const bool was_set = set_;
        clear();
        awaited_ = awaited;
        if (was_set) set();
    }

  private:
    void tell() {
        const std::uint64_t one = 1;
        if (awaited_) (void)!::write(fd_.get(), &one, sizeof one);
    }

    unique_fd fd_;
    bool set_ = false;
    bool awaited_ = true;
};

}  // namespace ravd
