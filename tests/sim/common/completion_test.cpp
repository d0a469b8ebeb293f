// Completion from usage texts.
#include "sim/common/completion.h"

#include <gmock/gmock.h>

namespace ravd::sim {
namespace {

using ::testing::ElementsAre;
using texts = std::vector<std::string>;

texts things(const std::string& kind) {
    if (kind == "MAC") return {"06:01", "06:02"};
    if (kind == "RADIO" || kind == "N") return {"0", "1"};
    if (kind == "channel=") return {"1", "6"};
    return {};
}

texts fit(const char* usage, const texts& before, const std::string& key = "") {
    return completions(usage, before, key, things);
}

TEST(completion, follows_the_usage_text) {
    const char* station = "join MAC VAP [RSSI] [no-v] | leave MAC [EVENT] | roam MAC";
    EXPECT_THAT(fit(station, {}), ElementsAre("join", "leave", "roam"));
    EXPECT_THAT(fit(station, {"leave"}), ElementsAre("06:01", "06:02"));
    EXPECT_THAT(fit(station, {"join", "06:09", "wlan0-va0"}), ElementsAre("no-v"));
    EXPECT_THAT(fit(station, {"join", "06:09", "wlan0-va0", "-50"}), ElementsAre("no-v"));
    EXPECT_THAT(fit(station, {"roam", "06:09"}), ElementsAre());
    EXPECT_THAT(fit("0|1 up|down | 0|1 coex on|off", {"0"}), ElementsAre("up", "down", "coex"));
    EXPECT_THAT(fit("0|1 up|down | 0|1 coex on|off", {"0", "coex"}), ElementsAre("on", "off"));

    const char* config = "[radio=N channel= power=]... [use-dca=]";
    EXPECT_THAT(fit(config, {"radio=0"}), ElementsAre("radio=", "channel=", "power=", "use-dca="));
    EXPECT_THAT(fit(config, {}, "radio="), ElementsAre("0", "1"));
    EXPECT_THAT(fit(config, {}, "channel="), ElementsAre("1", "6"));
    EXPECT_THAT(fit(config, {}, "power="), ElementsAre());
    EXPECT_THAT(fit("RADIO COUNT [neighbours=FILE]", {}), ElementsAre("0", "1", "neighbours="));
}

}  // namespace
}  // namespace ravd::sim
