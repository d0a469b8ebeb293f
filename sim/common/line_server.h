// Where commands come from: standard input and the clients of a control socket, one line a command, in their order.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sim/common/line_editor.h"
#include "sim/common/stream_server.h"
#include "tools/common/line_buffer.h"

namespace ravd::sim {

class line_server {
  public:
    // Standard input, or one client.
    using source = std::uint64_t;
    static constexpr source standard_input = 0;
    enum class next { line, wait };
    // Carries out one line; "wait": those behind it stand until resume().
    using runner = std::function<next(source from, const std::string& line)>;

    // A longer line than `line_limit` is answered with `too_long` and dropped, and a client who sent it let go. `ended`
    // is told of a source from which nothing more comes, once all is carried out.
    line_server(event_loop& loop, std::size_t line_limit, std::string too_long, runner run,
                std::function<void(source)> ended);
    ~line_server();
    line_server(const line_server&) = delete;
    line_server& operator=(const line_server&) = delete;

    // At a terminal with line editing, which shows `prompt`.
    void read_standard_input(const char* prompt, completer complete);
    // False with the reason.
    bool listen_on(const std::string& path, std::string& reason) { return server_.open(path, reason); }

    // Text with its line ends. Standard output, for standard input.
    void reply(source to, const std::string& text);
    void resume(source from);

  private:
    struct lines {
        explicit lines(std::size_t limit) : buffer(limit) {}
        line_buffer buffer;
        bool waits = false;
    };
    bool take(source from, std::string& input, bool ended);
    void read_standard();
    // Carries out what may be.
    void run_lines(source from, lines& those);

    event_loop& loop_;
    std::size_t line_limit_;
    std::string too_long_;
    runner run_;
    std::function<void(source)> ended_;
    std::map<source, lines> sources_;
    std::unique_ptr<line_editor> editor_;
    stream_server server_;
};

}  // namespace ravd::sim
