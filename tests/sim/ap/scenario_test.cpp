// What a scenario may say, and how a wrong one is refused.
#include "sim/ap/scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravd::sim {
namespace {

using testing::HasSubstr;

// A usable scenario with one piece in it replaced.
std::string with(const std::string& piece, const std::string& instead) {
    std::string text = R"({
  "seed": 7,
  "radios": [
    {"channel": 6, "power": 14, "vaps": [{"ssid": "a", "stations": [{"mac": "06:00:00:00:00:01"}]}]},
    {"channel": 36, "bandwidth": 80, "vaps": [{"ssid": "a"}]}
  ],
  "neighbours": [{"bssid": "06:aa:00:00:00:01", "channel": 11}]
})";
    const std::size_t at = text.find(piece);
    EXPECT_NE(at, std::string::npos) << piece;
    return text.replace(at, piece.size(), instead);
}

TEST(Scenario, FaultsNameThePlaceAndTheReason) {
    const struct {
        const char* piece;
        const char* instead;
        const char* expected;
    } rows[] = {
        {"\"seed\": 7,", "\"seed\": 7", "line 3: "},
        {"]\n}", "]\n} x", "line 8: "},
        {"\"seed\": 7", "\"seeds\": 7", "seeds: is not known here"},
        {"\"seed\": 7", "\"seed\": -1", "seed: must be from 0"},
        {"\"seed\": 7", "\"scan_speed\": 0", "scan_speed: must be a number from"},
        {"\"seed\": 7", "\"factory\": {\"mac\": \"1:2\"}", "factory.mac: \"1:2\" is not a hardware address"},
        {"\"seed\": 7", "\"config\": {\"x\": \"1\"}", "config.x: a configuration path begins with"},
        {"\"channel\": 6", "\"channel\": 37", "radios[0].channel: there is no channel 37"},
        {"\"channel\": 6, ", "", "radios[0].channel: is missing"},
        {"\"channel\": 6", "\"channel\": 6, \"channels\": [1, 11]", "radios[0].channel: is not among"},
        {"\"channel\": 6", "\"channel\": 6, \"channels\": [1, \"b\"]", "radios[0].channels[1]: must be a whole"},
        {"\"bandwidth\": 80", "\"bandwidth\": 40, \"sideband\": \"upper\"", "40 MHz with sideband upper"},
        {"\"bandwidth\": 80", "\"kind\": \"other\"", "radios[1].kind: \"other\" is none of: rtl8192cd, rtk_wifi6"},
        {"\"power\": 14", "\"up\": 1", "radios[0].up: must be true or false"},
        {"\"ssid\": \"a\", ", "\"ssid\": \"012345678901234567890123456789012\", ",
         "vaps[0].ssid: must have at most 32"},
        {"\"mac\": \"06:00:00:00:00:01\"", "\"rssi\": -40", "stations[0].mac: is missing"},
        {"[{\"mac\": \"06:00:00:00:00:01\"}", "[3", "radios[0].vaps[0].stations[0]: must be an object"},
        {"[{\"mac\": \"06:00:00:00:00:01\"}", "[{\"mac\": \"06:00:00:00:00:01\"}, {\"mac\": \"06:00:00:00:00:01\"}",
         "stations[1].mac: 06:00:00:00:00:01 is already"},
        {"[{\"bssid\": \"06:aa:00:00:00:01\", \"channel\": 11}]", "{}", "neighbours: must be an array"},
        {",\n    {\"channel\": 36, \"bandwidth\": 80, \"vaps\": [{\"ssid\": \"a\"}]}", "", "radios: there must be two"},
    };
    for (const auto& row : rows) {
        scenario s;
        std::string fault;
        EXPECT_FALSE(parse_scenario(with(row.piece, row.instead), s, fault)) << row.instead;
        EXPECT_THAT(fault, HasSubstr(row.expected)) << row.instead;
    }
    scenario s;
    std::string fault;
    EXPECT_FALSE(parse_scenario("[]", s, fault));
    EXPECT_FALSE(load_scenario("/nonexistent.json", s, fault));
    EXPECT_THAT(fault, HasSubstr("/nonexistent.json: cannot be opened"));
}

}  // namespace
}  // namespace ravd::sim
