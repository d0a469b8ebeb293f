// hostapd's control socket: datagrams as they come, told apart into events and answers.
//
// Aims at: platform/hostapd/socket.cpp
//
// An input is datagrams of at most 255 bytes, each behind its length; one of 255 is made longer than any is taken.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/check.h"
#include "platform/hostapd/socket.h"
#include "platform/unique_fd.h"

namespace {

using namespace ravd;

constexpr std::size_t queue_limit = 8;  // datagrams; the kernel's is 10

// hostapd's end and ours, for all runs.
struct ends {
    ends() : server(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        char directory[] = "/tmp/ravd-fuzz-hostapd-XXXXXX";
        check(mkdtemp(directory) != nullptr);
        const std::string path = std::string(directory) + "/wlan0-va0";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        check(::bind(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        connection = hostapd::open_connection(path);
        check(connection && hostapd::send(connection, "ATTACH") == hostapd_result::answered);
        char request[16];
        socklen_t length = sizeof client;
        check(::recvfrom(server.get(), request, sizeof request, 0, reinterpret_cast<sockaddr*>(&client), &length) == 6);
        check(::connect(server.get(), reinterpret_cast<sockaddr*>(&client), length) == 0);
        ::unlink(path.c_str());
        ::rmdir(directory);
    }
    ~ends() { wpa_ctrl_close(connection); }

    unique_fd server;
    sockaddr_un client{};
    wpa_ctrl* connection = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ends both;
    std::size_t queued = 0;
    for (std::size_t at = 0; at < size && queued < queue_limit; ++queued) {
        const std::size_t length = std::min<std::size_t>(data[at], size - at - 1);
        std::string text(reinterpret_cast<const char*>(data + at + 1), length);
        at += 1 + length;
        if (length == 255) text.resize(hostapd_reply_limit + 1, 'x');
        check(::send(both.server.get(), text.data(), text.size(), MSG_DONTWAIT) >= 0);
    }
    // The first half is looked for an answer, the rest taken as it comes.
    std::string text;
    int process = 0;
    if (size % 2 == 0 && hostapd::wait_for_answer(both.connection, text, 1, &process) == hostapd_result::answered)
        check(process == ::getpid() && (text.empty() || text.back() != '\n'));
    hostapd::received kind{};
    while ((kind = hostapd::receive(both.connection, text)) != hostapd::received::nothing) {
        check(kind != hostapd::received::lost && text.size() <= hostapd_reply_limit);
        check(text.empty() || kind != hostapd::received::too_long);
    }
    return 0;
}
