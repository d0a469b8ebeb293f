// The program ravd-bus against endpoints of this process.
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <functional>
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
    setenv("BUS", (std::string(RAVD_BUS_PROGRAM) + " --dir " + bus_directory()).c_str(), 1);
    FILE* stream = popen(("exec 2>&1; " + command).c_str(), "r");
    finished result{-1, ""};
    char piece[65536];
    for (std::size_t n; (n = fread(piece, 1, sizeof piece, stream)) > 0;)
        result.output.append(piece, n);
    const int status = pclose(stream);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// Answers each message that comes to a module by what `reply` makes of it.
class responder {
  public:
    responder(int module, std::function<std::string(const std::string&)> reply)
        : bus_(started(module)), reply_(std::move(reply)), thread_([this] { serve(); }) {}
    ~responder() {
        stop_ = true;
        thread_.join();
    }

  private:
    void serve() {
        while (!stop_) {
            pollfd entry{bus_->descriptor(), POLLIN, 0};
            poll(&entry, 1, 5);
            for (bus_message message; bus_->receive(message);)
                EXPECT_EQ(bus_->send_over(message.connection, reply_(text_of(message))), bus_result::accepted);
        }
    }

    std::unique_ptr<bus_endpoint> bus_;
    std::function<std::string(const std::string&)> reply_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

TEST(bus_tool, attach_moves_lines_both_ways) {
    const responder echo(41, [](const std::string& text) { return "<" + text + ">\n"; });
    finished ran = run("printf '41 one two\\nnonsense\\n99 x\\n41#77 x\\n41 last' | $BUS attach 42");
    EXPECT_EQ(ran.status, 0);
    for (const char* line : {"41 <one two>\\n\n", "41 <last>\\n\n", "nobody serves module 99\n", "nonsense",
                             "connection 77 of module 41 is gone"})
        EXPECT_NE(ran.output.find(line), std::string::npos) << line << " in " << ran.output;

    ran = run("printf '41 x\\n' | $BUS --tags attach 42");
    EXPECT_EQ(ran.output, "41#1 <x>\\n\n");

    // The longest message each way; one byte more is refused.
    ran =
        run("{ printf '41 '; head -c 16777213 /dev/zero; printf '\\n41 '; head -c 16777217 /dev/zero; } | "
            "$BUS attach 42");
    EXPECT_NE(ran.output.find("message longer than 16 MiB dropped\n"), std::string::npos);
    EXPECT_GE(ran.output.size(), mbus_message_limit + 5);
}

TEST(bus_tool, answers_over_the_named_connection) {
    auto bus = started(41);
    std::string address;
    std::thread tool([&] {
        // The first message comes from this process; its tag goes into the answer.
        address = run("mkfifo " + sim_directory() + "/lines; $BUS --tags attach 42 <" + sim_directory() +
                      "/lines | { exec 3>" + sim_directory() +
                      "/lines; read -r tag text; echo \"$tag answer\" >&3; echo \"$tag\"; }")
                      .output;
    });
    while (bus->send(42, "question") != bus_result::accepted)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(text_of(take(*bus)), "answer");
    tool.join();
    EXPECT_EQ(address, "41#1\n");
}

TEST(bus_tool, single_commands_and_statuses) {
    const responder configuration(1, [](const std::string& text) -> std::string {
        if (text.find("\"/a\"") != std::string::npos) return R"({"command":"get-response","value":"yes"})";
        if (text.find("\"/tree\"") != std::string::npos) return R"({"command":"get-response","value":{"x":"1"}})";
        return R"({"command":"get-response","reason":"not known"})";
    });
    auto taken = started(43);
    const struct {
        const char* command;
        int status;
        const char* output;  // a piece of it
    } cases[] = {
        {"$BUS get /a", 0, "yes\n"},
        {"$BUS get /tree", 0, "\"1\""},
        {"$BUS get /b", 1, "no value at /b: not known\n"},
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
        const finished ran = run(entry.command);
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
