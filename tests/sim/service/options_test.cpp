// The command line.
#include "sim/service/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravd::lab {
namespace {

options_result parse(std::vector<std::string> words, options& out, std::string& error) {
    words.insert(words.begin(), "ravd-sim-service");
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    return parse_options(static_cast<int>(words.size()), argv.data(), out, error);
}

TEST(Options, AreRead) {
    options o;
    std::string error;
    ASSERT_EQ(parse({"--port", "9000", "-b", "0.0.0.0", "-q", "--strict", "--protocol", "x", "--max-agents", "7",
                     "--config", "{}", "--exit-when-verified", "--auto-channels", "1,6", "--auto-rounds=3"},
                    o, error),
              options_result::run)
        << error;
    EXPECT_EQ(o.listening.port, 9000u);
    EXPECT_EQ(o.listening.bind_address, "0.0.0.0");
    EXPECT_EQ(o.listening.max_links, 7u);
    EXPECT_EQ(o.listening.sub_protocols.back(), "x");
    EXPECT_TRUE(o.quiet && o.strict && o.automatic.enabled && o.automatic.exit_when_verified);
    EXPECT_EQ(o.config, "{}");
    EXPECT_EQ(o.automatic.channels, "1 6");
    EXPECT_EQ(o.automatic.rounds, 3u);
    EXPECT_EQ(parse({"--help"}, o, error), options_result::help);
}

TEST(Options, WrongOnesAreNamed) {
    const struct {
        std::vector<std::string> words;
        const char* reason;
    } cases[] = {
        {{"--port", "65536"}, "--port takes a number from 0 to 65535"},
        {{"--port", "-1"}, "--port takes"},
        {{"--port", "9x"}, "--port takes"},
        {{"--port"}, "--port needs a value"},
        {{"--bogus"}, "unknown option --bogus"},
        {{"-x"}, "unknown option -x"},
        {{"more"}, "unexpected argument more"},
        {{"--config", "/nonexistent"}, "cannot read /nonexistent"},
        {{"--auto-channels", "1,six"}, "--auto-channels takes channel numbers"},
        {{"--auto-rounds", "0"}, "--auto-rounds takes a number from 1"},
    };
    for (const auto& c : cases) {
        options o;
        std::string error;
        EXPECT_EQ(parse(c.words, o, error), options_result::wrong);
        EXPECT_THAT(error, testing::HasSubstr(c.reason));
    }
}

}  // namespace
}  // namespace ravd::lab
