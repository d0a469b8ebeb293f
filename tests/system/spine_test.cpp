// The command line of the real daemon.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "tests/system/daemon_fixture.h"

namespace ravd {
namespace {

using Spine = testing::daemon_test;

TEST_F(Spine, EndsAtOnceWithNothingToDo) {
    EXPECT_EQ(status_of({}), 0);
    EXPECT_EQ(status_of({"-d", "host", "-p", "/path", "-P", "80"}), 0);
    EXPECT_EQ(status_of({"-f", directory}), 0);
    EXPECT_EQ(status_of({"-f", directory + "/none"}), 0);
    for (const std::string& text :
         {std::string(), std::string(100000, 'r'), std::string(5000, '\0'), std::string("corvane_service_url=h/p\n")})
        EXPECT_EQ(status_of({"-f", write_file("/conf", text)}), 0);
    EXPECT_FALSE(written("Proto"));
    EXPECT_EQ(status_of({"-f", write_file("/conf", "roam_service_url=wss://h:1/p\nroam_service_url=h:1/p\n")}), 0);
    EXPECT_TRUE(written("Proto wss is invalid\n"));
}

TEST_F(Spine, ReadsAPipeAndWaitsForNone) {
    const std::string pipe = directory + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(status_of({"-f", pipe}), 0);
    const int writer = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    dprintf(writer, "roam_service_url=wss://h:1/p\n");
    EXPECT_EQ(status_of({"-f", pipe}), 0);
    EXPECT_TRUE(written("Proto wss is invalid\n"));
    close(writer);
}

TEST_F(Spine, RefusesUnknownOptions) {
    for (const char* option : {"-x", "-f", "-P"})
        EXPECT_EQ(status_of({option}), 255) << option;
}

}  // namespace
}  // namespace ravd
