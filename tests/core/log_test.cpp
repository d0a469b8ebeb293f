#include <gtest/gtest.h>

#include <string>

#include "core/buffer.h"
#include "core/dump.h"
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
        const std::pair<const char*, unsigned> lines[] = {
            {"E1", 1}, {"W2", 2}, {"I3", 4}, {"D4", 8}, {"Buffer info dump:\n", 8}};
        for (const auto& [line, bit] : lines)
            EXPECT_EQ(log.count(line), (mask & bit) != 0) << mask << line;
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
    std::string text;  // each line of 32 bytes starts with its number
    for (int i = 0; i < 500; ++i)
        text += std::to_string(1000 + i) + std::string(28, '.');
    const auto lines = [](const std::string& dump) { return std::count(dump.begin(), dump.end(), '\n'); };
    EXPECT_EQ(lines(dumped(text.substr(0, 400 * 32))), 400);
    const std::string cut = dumped(text + "end");
    EXPECT_EQ(lines(cut), 50 + 1 + 49 + 1);
    const std::string dots(28, '.');
    for (const std::string& piece :
         {"1049" + dots + "\n\t....part of message are skipped...\n\t31 34 35 31 ", "1499" + dots + "\n\t65 6E 64 "})
        EXPECT_NE(cut.find(piece), std::string::npos) << piece;
}

}  // namespace
}  // namespace ravd
