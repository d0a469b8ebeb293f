// What passes some modules.
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/portable/bus_frame.h"
#include "platform/portable/bus_registration.h"
#include "tools/bus/attach.h"
#include "tools/bus/output.h"

namespace ravd {
namespace {

constexpr int retry_ms = 100;

// One module, watched over a connection that says nothing. A module that is away is waited for.
class watched_module {
  public:
    watched_module(const std::string& directory, int module) : directory_(directory), module_(module) {}

    int fd() const { return socket_.get(); }
    void connect();
    // Adds what came, a line for each message.
    void read(std::string& out);

  private:
    void lose(const char* how);

    const std::string& directory_;
    int module_;
    bool told_ = false;  // that it is not there
    unique_fd socket_;
    bus_frame_reader reader_;
};

void watched_module::lose(const char* how) {
    socket_.reset();
    reader_ = bus_frame_reader();
    if (!told_) complain("module " + std::to_string(module_) + how);
    told_ = true;
}

void watched_module::connect() {
    if (socket_) return;
    socket_ = bus_registration::connect(directory_, module_);
    if (!socket_) return lose(" is not there; waiting for it");
    unsigned char hello[mbus_header_size];
    encode_bus_header({0, module_, 0, bus_frame_kind::watch}, hello);
    if (::send(fd(), hello, sizeof hello, MSG_NOSIGNAL) != sizeof hello) return lose(" left the bus; waiting for it");
    told_ = false;
}

void watched_module::read(std::string& out) {
    static unsigned char bytes[64 * 1024];
    const ssize_t n = ::recv(fd(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) return lose(" left the bus; waiting for it");
    for (std::size_t done = 0, used = 0; done < static_cast<std::size_t>(n); done += used) {
        const auto state = reader_.feed(bytes + done, static_cast<std::size_t>(n) - done, used);
        if (state == bus_frame_reader::state::bad) return lose(" sends what is no message");
        if (state == bus_frame_reader::state::more) return;
        const bus_frame_header header = reader_.header();
        const bus_block block = reader_.take();
        const std::string_view text(reinterpret_cast<const char*>(block.get()) + mbus_header_size, header.length);
        if (header.kind == bus_frame_kind::watch) {
            complain("missed " + std::string(text) + " messages of module " + std::to_string(module_));
            continue;
        }
        out += std::to_string(header.source) + " > " + std::to_string(header.destination) + " ";
        append_escaped(out, text);
        out += '\n';
    }
}

}  // namespace

int monitor(const options& chosen) {
    std::vector<watched_module> modules;
    for (const int module : chosen.watched)
        modules.emplace_back(chosen.directory, module);
    std::vector<pollfd> set;
    while (!ending()) {
        set.assign(1, {end_signal(), POLLIN, 0});
        bool all = true;
        for (watched_module& module : modules) {
            module.connect();
            all = all && module.fd() >= 0;
            set.push_back({module.fd(), POLLIN, 0});
        }
        if (::poll(set.data(), set.size(), all ? -1 : retry_ms) < 0 && errno != EINTR) return 1;
        std::string out;
        for (std::size_t i = 0; i < modules.size(); ++i)
            if (modules[i].fd() >= 0 && set[i + 1].revents) modules[i].read(out);
        if (!out.empty() && !print(out)) return ending() ? 0 : 1;
    }
    return 0;
}

}  // namespace ravd
