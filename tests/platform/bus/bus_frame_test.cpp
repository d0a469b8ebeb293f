#include "tests/platform/bus/bus_support.h"

namespace ravd::testing {
namespace {

using state = bus_frame_reader::state;

// Feeds in pieces; the texts of the whole frames, then what the reader said last.
std::pair<std::vector<std::string>, state> read_frames(const std::string& bytes, std::size_t piece) {
    bus_frame_reader reader;
    std::vector<std::string> texts;
    state last = state::more;
    for (std::size_t at = 0; at < bytes.size() && last != state::bad;) {
        std::size_t used = 0;
        const std::size_t count = std::min(piece, bytes.size() - at);
        last = reader.feed(reinterpret_cast<const unsigned char*>(bytes.data()) + at, count, used);
        at += used;
        if (last != state::whole) continue;
        const std::size_t length = reader.header().length;
        texts.emplace_back(reinterpret_cast<const char*>(reader.take().get()), mbus_header_size + length);
    }
    return {texts, last};
}

TEST(bus_frame, layout_is_the_documented_one) {
    const std::string expected("\x1f\0\0\0\x02\0\0\0\0\x03\x01\0\0RVB1hi", 19);
    EXPECT_EQ(frame(31, 259, "hi"), expected);
    EXPECT_EQ(hello(31, 3), std::string("\x1f\0\0\0\0\0\0\0\1\x03\0\0\0RVB1", 17));
}

TEST(bus_frame, joins_pieces_of_any_size) {
    const std::vector<std::string> sent = {frame(1, 2, ""), frame(7, 2, "abc"), frame(1, 2, std::string(9000, 'x')),
                                           hello(4, 2)};
    std::string bytes;
    for (const std::string& text : sent)
        bytes += text;
    for (std::size_t piece : {1u, 2u, 16u, 17u, 18u, 4096u, 100000u}) {
        const auto [texts, last] = read_frames(bytes, piece);
        EXPECT_EQ(texts, sent) << piece;
        EXPECT_EQ(last, state::whole) << piece;
    }
}

TEST(bus_frame, refuses_what_is_no_frame) {
    const struct {
        const char* what;
        std::size_t offset;
        unsigned char value;
    } cases[] = {{"magic", 13, 'X'}, {"magic end", 16, '2'},  {"kind", 8, 2},           {"hello with payload", 8, 1},
                 {"length", 7, 1},   {"length by one", 6, 0}, {"source sign", 3, 0x80}, {"destination sign", 12, 0x80}};
    for (const auto& entry : cases) {
        std::string bytes = frame(1, 2, "text");
        bytes[entry.offset] = static_cast<char>(entry.value);
        const bool longest = std::string(entry.what) == "length by one";
        if (longest) bytes.replace(mbus_length_offset, 4, std::string("\x01\0\0\x01", 4));
        EXPECT_EQ(read_frames(bytes, 64).second, state::bad) << entry.what;
    }
    // The largest announced length is fine.
    std::string largest = frame(1, 2, "text");
    largest.replace(mbus_length_offset, 4, std::string("\0\0\0\x01", 4));
    EXPECT_EQ(read_frames(largest, 64).second, state::more);
}

}  // namespace
}  // namespace ravd::testing
