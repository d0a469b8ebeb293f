// What the user reads: columns stay aligned, hostile text and numbers do no harm.
#include "sim/service/presentation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravd::lab {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Presentation, ChartShowsLoadPerChannel) {
    radio_view radio;
    radio.active = true;
    radio.channel = 6;
    radio.available = {1, 6, 11};
    const std::string chart = occupancy_chart({radio}, {{"a", -35, 1, 0, "none", 20, 0},
                                                        {"b", -35, 1, 0, "none", 20, 0},
                                                        {"b", -50, 1, 0, "none", 20, 1},
                                                        {"c", -35, 11, 0, "none", 20, 0},
                                                        {"d", 0, 2147483647, 0, "none", 2147483647, 0}});
    EXPECT_EQ(chart,
              "  channel load BSSs loudest\n"
              "        1 2.00    2     -35 |" +
                  std::string(40, '#') +
                  "\n"
                  "        6 0.00    0         | <- in use\n"
                  "       11 1.00    1     -35 |" +
                  std::string(20, '#'));
}

TEST(Presentation, MessagesAreReadableAndTame) {
    std::string error;
    const json_ptr message = parse_json(
        "{\"version\":\"2.4\",\"cmd\":\"rrm-response\",\"domain\":\"\\u001b[2J\",\"radios\":[{\"id\":0,\"status\":1,"
        "\"vaps\":[{"
        "\"ssid\":\"caf\\u00e9\"},7],\"assoclist\":[{\"mac\":\"02:AA\",\"rssi\":-58}]},null,[]],\"rf-environment\":[[{}"
        ",1],2]}",
        error);
    ASSERT_TRUE(message) << error;
    const std::string text = present_message(message.get());
    EXPECT_THAT(text, HasSubstr("rrm-response"));
    EXPECT_THAT(text, HasSubstr("rounds=2 entries=2"));
    EXPECT_THAT(text, HasSubstr("caf\xc3\xa9"));
    EXPECT_THAT(text, HasSubstr("02:AA"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
}

TEST(Presentation, LoudestNeighboursComeFirst) {
    std::vector<heard_bss> heard;
    for (int i = 0; i < 50; ++i)
        heard.push_back({"n" + std::to_string(i), -90 + i, 1, 0, "none", 20, 0});
    const std::string table = environment_table(heard, 2);
    EXPECT_LT(table.find("n49"), table.find("n48"));
    EXPECT_THAT(table, HasSubstr("and 48 more"));
}

}  // namespace
}  // namespace ravd::lab
