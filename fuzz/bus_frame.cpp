// Frames of the bus: whatever arrives, in whatever pieces, every frame that comes out is whole and within its bounds.
//
// Aims at: platform/portable/bus_frame.cpp

#include "platform/portable/bus_frame.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

// The first byte chooses the size of the pieces.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::size_t piece = size > 0 ? std::max<std::size_t>(data[0], 1) : 1;
    ravd::bus_frame_reader reader;
    std::size_t begin = 1;  // of the current frame
    for (std::size_t at = 1; at < size;) {
        std::size_t used = 0;
        const auto state = reader.feed(data + at, std::min(piece, size - at), used);
        if (state == ravd::bus_frame_reader::state::bad) break;
        at += used;
        if (reader.held() != at - begin) std::abort();
        if (state == ravd::bus_frame_reader::state::more) continue;
        const std::size_t whole = mbus_header_size + reader.header().length;
        const ravd::bus_block block = reader.take();
        if (whole != at - begin || std::memcmp(block.get(), data + begin, whole) != 0) std::abort();
        if (block.get()[whole] != 0) std::abort();
        begin = at;
    }
    return 0;
}
