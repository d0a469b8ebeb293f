#include "tools/bus/attach.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/monotonic.h"
#include "tools/bus/output.h"
#include "tools/common/line_buffer.h"

namespace ravd {
namespace {

constexpr std::size_t line_limit = mbus_message_limit + 64;
constexpr int retry_ms = 20;
constexpr int check_ms = 1000;       // how often the place in the bus's directory is looked after
constexpr int full_limit_ms = 5000;  // how long a receiver that does not read is waited for

// "DEST TEXT" or "DEST#N TEXT".
struct order {
    int destination = -1;
    bool tagged = false;
    std::uint64_t connection = 0;
    std::string_view text;
};

bool parse_order(const std::string& line, order& out) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos) return false;
    const std::string address = line.substr(0, blank);
    const std::size_t mark = address.find('#');
    out.destination = parse_module(address.substr(0, mark));
    out.tagged = mark != std::string::npos;
    if (out.tagged) {
        const auto number = std::string_view(address).substr(mark + 1);
        if (!parse_number(number, 0, INT64_MAX, out.connection)) return false;
    }
    out.text = std::string_view(line).substr(blank + 1);
    return out.destination >= 0;
}

class line_exchange {
  public:
    line_exchange(bus_endpoint& bus, const options& chosen)
        : bus_(bus), chosen_(chosen), input_(line_limit), last_move_(monotonic_ms()) {}

    int run();

  private:
    bool print_received();
    void send_lines();
    // False when the line has to wait for its receiver.
    bool send_line();
    int wait_limit() const;

    bus_endpoint& bus_;
    const options& chosen_;
    line_buffer input_;
    std::string line_;
    bool line_waits_ = false;  // line_ is not sent yet
    std::int64_t full_since_ = 0;
    std::uint64_t moved_ = 0;
    std::int64_t last_move_;
};

bool line_exchange::print_received() {
    bus_message message;
    std::string out;
    // A few at a time, so that a flood does not keep the input waiting.
    for (int i = 0; i < 256 && bus_.receive(message); ++i) {
        out += std::to_string(message.source);
        if (chosen_.tags) out += "#" + std::to_string(message.connection);
        out += ' ';
        append_escaped(out, message.text());
        out += '\n';
        if (out.size() < 64 * 1024) continue;
        if (!print(out)) return false;
        out.clear();
    }
    const std::uint64_t moved = bus_.transferred();
    if (moved != moved_) last_move_ = monotonic_ms();
    moved_ = moved;
    return out.empty() || print(out);
}

bool line_exchange::send_line() {
    order wanted;
    if (!parse_order(line_, wanted)) {
        complain("wrong line, wants \"DEST TEXT\": " + line_.substr(0, 60));
        return true;
    }
    const std::string module = "module " + std::to_string(wanted.destination);
    const std::string connection = "connection " + std::to_string(wanted.connection);
    if (wanted.tagged && bus_.peer_of(wanted.connection) != wanted.destination) {
        complain(connection + " of " + module + " is gone");
        return true;
    }
    const bus_result result =
        wanted.tagged ? bus_.send_over(wanted.connection, wanted.text) : bus_.send(wanted.destination, wanted.text);
    if (result != bus_result::full) full_since_ = 0;
    switch (result) {
        case bus_result::accepted:
            break;
        case bus_result::not_served:
            complain(wanted.tagged ? connection + " of " + module + " is gone" : "nobody serves " + module);
            break;
        case bus_result::too_long:
            complain("message longer than 16 MiB dropped");
            break;
        case bus_result::full:
            if (full_since_ == 0) full_since_ = monotonic_ms();
            if (monotonic_ms() - full_since_ < full_limit_ms) return false;
            complain(module + " does not read, message dropped");
            break;
    }
    return true;
}

void line_exchange::send_lines() {
    while (line_waits_ || input_.next(line_)) {
        line_waits_ = !send_line();
        last_move_ = monotonic_ms();
        if (line_waits_) break;
    }
    while (input_.take_overflow())
        complain("line longer than 16 MiB dropped");
}

// Milliseconds until something has to be looked at again; 0 when it is time to end, otherwise at most check_ms.
int line_exchange::wait_limit() const {
    if (line_waits_) return retry_ms;
    if (!input_.ended() || chosen_.stay) return check_ms;
    const std::int64_t left = last_move_ + chosen_.idle_ms - monotonic_ms();
    const std::int64_t patience = last_move_ + chosen_.idle_ms + full_limit_ms - monotonic_ms();
    if (left <= 0 && (bus_.unsent() == 0 || patience <= 0)) return 0;
    return static_cast<int>(std::clamp<std::int64_t>(left, retry_ms, check_ms));
}

int line_exchange::run() {
    while (!ending()) {
        if (!bus_.running() && !bus_.start()) {
            complain("lost the bus");
            return 1;
        }
        if (!print_received()) return ending() ? 0 : 1;
        send_lines();
        const int limit = wait_limit();
        if (limit == 0) break;
        pollfd set[3] = {{end_signal(), POLLIN, 0},
                         {bus_.descriptor(), POLLIN, 0},
                         {input_.ended() || line_waits_ ? -1 : STDIN_FILENO, POLLIN, 0}};
        if (::poll(set, 3, limit) < 0 && errno != EINTR) return 1;
        if (set[2].revents) {
            input_.fill(STDIN_FILENO);
            last_move_ = monotonic_ms();
        }
    }
    if (!ending() && bus_.unsent() > 0) {
        complain("a receiver does not read, messages dropped");
        return 1;
    }
    return 0;
}

}  // namespace

int attach(bus_endpoint& bus, const options& chosen) { return line_exchange(bus, chosen).run(); }

}  // namespace ravd
