// The program ravd-bus against endpoints of this process.
#include <sys/wait.h>

#include <atomic>
#include <thread>

#include "tests/platform/bus/bus_support.h"

namespace ravd::testing {
namespace {

struct finished {
    int status;
    std::string output;  // standard output and error
};

// Runs a shell command in which $BUS is the program with its directory.
finished run(const std::string& command) {
    setenv("BUS", (RAVD_BUS_PROGRAM " --dir " + bus_directory()).c_str(), 1);
    FILE* stream = popen(("exec 2>&1; cd " + sim_directory() + "; " + command).c_str(), "r");
    finished result{-1, ""};
    char piece[65536];
    for (std::size_t n; (n = fread(piece, 1, sizeof piece, stream)) > 0;)
        result.output.append(piece, n);
    const int status = pclose(stream);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// The same while a module answers each message by what `reply` makes of it.
template <typename Reply>
finished run_against(int module, const std::string& command, Reply reply) {
    auto bus = started(module);
    std::atomic<bool> over{false};
    std::thread answering([&] {
        for (bus_message message; !over; std::this_thread::yield())
            while (bus->receive(message))
                bus->send_over(message.connection, reply(text_of(message)));
    });
    const finished result = run(command);
    over = true;
    answering.join();
    return result;
}

std::string echo(const std::string& text) { return "<" + text + ">\n"; }

std::string configuration(const std::string& request) {
    const bool known = request.find("\"/a\"") != std::string::npos;
    return known ? R"({"command":"get-response","value":"yes"})" : R"({"command":"get-response","reason":"not known"})";
}

TEST(bus_tool, attach_moves_lines_both_ways) {
    const finished few =
        run_against(41, "printf '41 one two\\nnonsense\\n99 x\\n41#77 x\\n41 last' | $BUS attach 42", echo);
    EXPECT_EQ(few.status, 0);
    for (const char* line : {"41 <one two>\\n\n", "41 <last>\\n\n", "nobody serves module 99\n", "nonsense",
                             "connection 77 of module 41 is gone"})
        EXPECT_NE(few.output.find(line), std::string::npos) << line << " in " << few.output;

    // The longest message each way; one byte more is refused.
    const std::string input = "printf '41 '; head -c 16777213 /dev/zero; printf '\\n41 '; head -c 16777217 /dev/zero";
    const finished longest = run_against(41, "{ " + input + "; } | $BUS attach 42", echo);
    EXPECT_NE(longest.output.find("message longer than 16 MiB dropped\n"), std::string::npos);
    EXPECT_GE(longest.output.size(), mbus_message_limit + 5);
}

TEST(bus_tool, answers_over_the_named_connection) {
    auto bus = started(41);
    std::string tag;
    std::thread tool([&tag] {
        tag = run("mkfifo lines; $BUS --tags attach 42 <lines | "
                  "{ exec 3>lines; read -r tag text; echo \"$tag answer\" >&3; echo $tag; }")
                  .output;
    });
    while (bus->send(42, "question") != bus_result::accepted)
        std::this_thread::yield();
    EXPECT_EQ(text_of(take(*bus)), "answer");
    tool.join();
    EXPECT_EQ(tag, "41#1\n");
}

TEST(bus_tool, single_commands_and_statuses) {
    auto taken = started(43);
    const struct {
        const char* command;
        int status;
        const char* output;  // a piece of it
    } cases[] = {
        {"$BUS get /a", 0, "yes\n"},
        {"$BUS get /b", 1, "no value at /b: not known\n"},
        {"sed -n '/^```python/,/^```$/{/^```/d;p}' " RAVD_SOURCE_DIR "/docs/simulation.md | python3", 0, "known"},
        {"$BUS send 43 hello", 0, ""},
        {"echo hello | $BUS --as 44 send 43 -", 0, ""},
        {"$BUS send 99 hello", 1, "nobody serves module 99\n"},
        {"$BUS attach 43", 1, "module 43 is already registered\n"},
        {"$BUS --help", 0, "Usage:"},
        {"$BUS", 2, "a command is missing"},
        {"$BUS attach x", 2, "attach wants"},
        {"$BUS send -1 x", 2, "unknown option"},
        {"$BUS --idle soon attach 3", 2, "--idle wants"},
        {"$BUS --stay attach 3 </dev/null & sleep 0.1; kill $!; wait $!", 0, ""},
    };
    for (const auto& entry : cases) {
        const finished ran = run_against(1, entry.command, configuration);
        EXPECT_EQ(ran.status, entry.status) << entry.command << ran.output;
        EXPECT_NE(ran.output.find(entry.output), std::string::npos) << entry.command << ran.output;
    }
    EXPECT_EQ(text_of(take(*taken)), "hello");
    const bus_message second = take(*taken);
    EXPECT_EQ(text_of(second), "hello\n");
    EXPECT_EQ(second.source, 44);
}

}  // namespace
}  // namespace ravd::testing
