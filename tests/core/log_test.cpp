#include <gtest/gtest.h>

#include <string>

#include "core/buffer.h"
#include "core/logger.h"
#include "tests/core/log_capture.h"

namespace ravd {
namespace {

using testing::log_capture;

std::string dumped(const std::string& text) {
    const log_capture log(log_debug_bit);
    buffer_info_t buffer;
    buffer.append(text.data(), text.size());
    dump_buffer(buffer);
    const std::string all = log.text();
    const std::size_t at = all.find("Buffer info dump:\n");
    return at == std::string::npos ? "" : all.substr(at + 18);
}

TEST(Log, EachLevelHasItsBit) {
    for (std::uint32_t mask = 0; mask < 32; ++mask) {
        const log_capture log(mask);
        log_error(process_log, "E%d\n", 1);
        log_warning(process_log, "W%d\n", 2);
        log_info(process_log, "I%d\n", 3);
        log_debug(process_log, "D%d\n", 4);
        dump_buffer(buffer_info_t());
        EXPECT_EQ(log.count("E1"), (mask & 1) != 0) << mask;
        EXPECT_EQ(log.count("W2"), (mask & 2) != 0) << mask;
        EXPECT_EQ(log.count("I3"), (mask & 4) != 0) << mask;
        EXPECT_EQ(log.count("D4"), (mask & 8) != 0) << mask;
        EXPECT_EQ(log.count("Buffer info dump:\n"), (mask & 8) != 0) << mask;
    }
}

TEST(Dump, WritesJsonAsTreeAndTheRestInHexadecimal) {
    EXPECT_EQ(dumped(R"({"cmd":"connected"})").find("63 6D 64"), std::string::npos);
    EXPECT_NE(dumped(R"({"cmd":"connected"})").find("connected"), std::string::npos);
    EXPECT_EQ(dumped(""), "") << "no line for an empty message";
    std::string hex32;
    for (int i = 0; i < 32; ++i)
        hex32 += "61 ";
    const std::string line = "\t" + hex32 + "    " + std::string(32, 'a') + "\n";
    EXPECT_EQ(dumped(std::string(70, 'a')),
              line + line + "\t61 61 61 61 61 61 " + std::string(78, ' ') + "    aaaaaa\n");
    EXPECT_EQ(dumped(std::string("\0\xFF", 2)), "\t00 FF " + std::string(90, ' ') + "    .\xFF\n");
}

TEST(Dump, LeavesOutTheMiddleOfLongMessages) {
    // Each line of 32 bytes starts with its number.
    const auto lines = [](int count, const char* rest) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += std::to_string(1000 + i) + std::string(28, '.');
        return dumped(text + rest);
    };
    const std::string whole = lines(400, "");
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 400);
    const std::string cut = lines(500, "end");
    EXPECT_EQ(std::count(cut.begin(), cut.end(), '\n'), 50 + 1 + 49 + 1);
    EXPECT_NE(cut.find("1049............................\n\t....part of message are skipped...\n\t31 34 35 31 "),
              std::string::npos);
    EXPECT_NE(cut.find("1499............................\n\t65 6E 64 "), std::string::npos);
}

}  // namespace
}  // namespace ravd
