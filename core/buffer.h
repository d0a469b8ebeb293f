// One message on its way through the daemon.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace ravd {

// Shared read-only once it is pushed into a queue: the producer does not change it afterwards.
struct buffer_info_t {
    char* data = nullptr;    // malloc'ed, owned; followed by one NUL byte when not null
    std::uint32_t size = 0;  // bytes, the NUL not counted
    bool internal = false;   // made by a worker of this process, not taken from outside

    buffer_info_t() = default;
    buffer_info_t(const buffer_info_t&) = delete;
    buffer_info_t& operator=(const buffer_info_t&) = delete;
    ~buffer_info_t();

    // Adds `len` bytes behind the contents and returns `data`. A null `src` or a `len` of 0 changes nothing and
    // returns `data`, which may be null. Out of memory, or a total beyond 32 bits: logged, unchanged, null.
    char* append(const char* src, std::size_t len);

    std::string_view text() const { return {data ? data : "", size}; }

  private:
    std::size_t room_ = 0;  // bytes behind `data`, where append() took them
};

std::shared_ptr<buffer_info_t> make_buffer();

}  // namespace ravd
