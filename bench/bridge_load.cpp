// Both ends of a bridge between a websocket and the local bus, and what crosses it: throughput, latency, a large
// message, and what the bridge's process used meanwhile.
//   bridge_load PORT BUS_DIRECTORY [to_bus|to_service IN_FLIGHT COUNT]
// prints "ready", reads the bridge's process id from standard input, measures; with a direction only that throughput
#include <dirent.h>
#include <libwebsockets.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "platform/portable/bus_endpoint.h"

namespace {

constexpr int peer_module = 3;
constexpr int bridge_module = 2;
constexpr int limit_ms = 60000;

double now_s() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

[[noreturn]] void fail(const char* reason) {
    std::fprintf(stderr, "bridge_load: %s\n", reason);
    std::exit(1);
}

// The server's side of one websocket connection, just enough of it for messages of one frame.
class websocket {
  public:
    explicit websocket(int port) {
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int one = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 1) != 0)
            fail("cannot listen");
        listener_ = listener;
    }

    void accept_bridge() {
        fd_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        const int one = 1;
        setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        std::string request;
        while (request.find("\r\n\r\n") == std::string::npos) {
            char piece[1024];
            const ssize_t n = read(fd_, piece, sizeof piece);
            if (n <= 0) fail("no handshake");
            request.append(piece, static_cast<std::size_t>(n));
        }
        const std::string key = header(request, "sec-websocket-key:") + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
        unsigned char digest[20];
        lws_SHA1(reinterpret_cast<const unsigned char*>(key.data()), key.size(), digest);
        char accept_key[64];
        lws_b64_encode_string(reinterpret_cast<char*>(digest), sizeof digest, accept_key, sizeof accept_key);
        out_ =
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Accept: " +
            std::string(accept_key) + "\r\nSec-WebSocket-Protocol: websock-roaming\r\n\r\n";
        while (!out_.empty())
            flush();
    }

    void send(const std::string& text) {
        out_.push_back(static_cast<char>(0x81));
        if (text.size() < 126) {
            out_.push_back(static_cast<char>(text.size()));
        } else {
            const int bytes = text.size() < 65536 ? 2 : 8;
            out_.push_back(static_cast<char>(bytes == 2 ? 126 : 127));
            for (int i = bytes - 1; i >= 0; --i)
                out_.push_back(static_cast<char>(static_cast<std::uint64_t>(text.size()) >> (8 * i)));
        }
        out_ += text;
    }

    void flush() {
        while (written_ < out_.size()) {
            const ssize_t n = ::send(fd_, out_.data() + written_, out_.size() - written_, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n <= 0) return;
            written_ += static_cast<std::size_t>(n);
        }
        out_.clear();
        written_ = 0;
    }

    // Calls back with each whole message and answers pings, which here are empty.
    template <typename Handler>
    void receive(Handler handler) {
        static char piece[262144];
        ssize_t n;
        while ((n = recv(fd_, piece, sizeof piece, MSG_DONTWAIT)) > 0)
            in_.append(piece, static_cast<std::size_t>(n));
        std::size_t at = 0;
        while (in_.size() - at >= 2) {
            const auto* head = reinterpret_cast<const unsigned char*>(in_.data()) + at;
            std::size_t length = head[1] & 0x7F;
            std::size_t size = 2;
            if (length >= 126) {
                const std::size_t bytes = length == 126 ? 2 : 8;
                if (in_.size() - at < 2 + bytes) break;
                length = 0;
                for (std::size_t i = 0; i < bytes; ++i)
                    length = length << 8 | head[2 + i];
                size += bytes;
            }
            if (in_.size() - at < size + 4 + length) break;
            if ((head[0] & 0x0F) <= 2) handler(length);
            if (head[0] == 0x89) out_.append("\x8a\0", 2);
            at += size + 4 + length;
        }
        in_.erase(0, at);
    }

    int fd() const { return fd_; }
    bool pending() const { return !out_.empty(); }

  private:
    static std::string header(const std::string& request, const std::string& name) {
        std::string lower = request;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](char c) { return static_cast<char>(std::tolower(c)); });
        std::size_t at = lower.find(name);
        if (at == std::string::npos) fail("a header is missing");
        at = request.find_first_not_of(' ', at + name.size());
        return request.substr(at, request.find('\r', at) - at);
    }

    int listener_ = -1;
    int fd_ = -1;
    std::string in_;
    std::string out_;
    std::size_t written_ = 0;
};

class bench {
  public:
    // Messages that are under way at once at most, and how many cross in all.
    struct load {
        std::size_t in_flight;
        std::size_t count;
    };

    bench(int port, const char* directory) : server_(port), bus_(ravd::bus_endpoint::open(directory, peer_module)) {
        if (!bus_ || !bus_->start()) fail("the bus cannot be used");
    }

    void wait_for_bridge() {
        std::printf("ready\n");
        std::fflush(stdout);
        if (std::scanf("%d", &bridge_) != 1) fail("no process id");
        server_.accept_bridge();
        // What a bridge has to say of itself comes first and does not count.
        const double settled = now_s() + 1;
        while (now_s() < settled)
            turn(100);
    }

    void run() {
        for (const auto& way : ways) {
            for (const load& one : loads)
                measure_throughput(way.name, way.to_bus, one);
            measure_delays(way.name, way.to_bus);
        }
        measure_round_trips();
        std::printf("rss_kb %ld\n", status_kb("VmRSS:"));
        for (const auto& way : ways)
            measure_large(way.name, way.to_bus);
        std::printf("rss_after_kb %ld\n", status_kb("VmRSS:"));
    }

    void measure_throughput(const char* name, bool to_bus, const load& what) {
        std::size_t& arrived = to_bus ? at_bus_ : at_service_;
        const std::string text(200, 'x');
        turn_until_one_more(arrived, to_bus, text);
        const std::size_t start = arrived;
        std::size_t sent = 0;
        const double cpu = cpu_s();
        const double begin = now_s();
        while (arrived - start < what.count) {
            while (sent < what.count && sent - (arrived - start) < what.in_flight) {
                send(to_bus, text);
                ++sent;
            }
            turn(1);
            if (now_s() - begin > limit_ms / 1000.0) fail("messages are missing");
        }
        const double took = now_s() - begin;
        const auto count = static_cast<double>(what.count);
        std::printf("%s_%zu_per_s %.0f\n", name, what.in_flight, count / took);
        std::printf("%s_%zu_cpu_us %.2f\n", name, what.in_flight, (cpu_s() - cpu) * 1e6 / count);
    }

  private:
    static constexpr struct {
        const char* name;
        bool to_bus;
    } ways[] = {{"to_bus", true}, {"to_service", false}};

    // The largest fits into the daemon's queue of 16 MiB.
    static constexpr load loads[] = {{1, 20000}, {64, 300000}, {2000, 600000}, {49152, 1000000}};

    void measure_delays(const char* name, bool to_bus) {
        std::vector<double> delays;
        for (int i = 0; i < 200; ++i) {
            rest();
            const double at = now_s();
            turn_until_one_more(to_bus ? at_bus_ : at_service_, to_bus, std::string(200, 'x'));
            delays.push_back(now_s() - at);
        }
        print_delays(name, delays);
    }

    // From the service to the bus, whose answer goes back.
    void measure_round_trips() {
        std::vector<double> delays;
        for (int i = 0; i < 1000; ++i) {
            rest();
            const double at = now_s();
            turn_until_one_more(at_bus_, true, std::string(200, 'x'));
            turn_until_one_more(at_service_, false, std::string(200, 'x'));
            delays.push_back(now_s() - at);
        }
        print_delays("round_trip", delays);
    }

    static void rest() { usleep(static_cast<useconds_t>(1000 + std::rand() % 4000)); }

    static void print_delays(const char* name, std::vector<double>& delays) {
        std::sort(delays.begin(), delays.end());
        std::printf("%s_p50_ms %.3f\n%s_p99_ms %.3f\n", name, delays[delays.size() / 2] * 1e3, name,
                    delays[delays.size() * 99 / 100] * 1e3);
    }

    void measure_large(const char* name, bool to_bus) {
        std::size_t& arrived = to_bus ? at_bus_ : at_service_;
        const long before_kb = status_kb("VmRSS:");
        forget_peak();
        const double at = now_s();
        turn_until_one_more(arrived, to_bus, std::string(5000000, 'y'));
        const double took = now_s() - at;
        const double peak = static_cast<double>(status_kb("VmHWM:") - before_kb) * 1024 / 5000000;
        std::printf("%s_5mb_s %.3f\n%s_5mb_peak %.2f\n", name, took, name, peak);
    }

    // The largest memory of the bridge is told from here on.
    void forget_peak() const {
        std::FILE* file = std::fopen(("/proc/" + std::to_string(bridge_) + "/clear_refs").c_str(), "w");
        if (!file || std::fputs("5", file) < 0 || std::fclose(file) != 0) fail("the bridge's peak cannot be reset");
    }

    void turn_until_one_more(const std::size_t& arrived, bool to_bus, const std::string& text) {
        const std::size_t before = arrived;
        send(to_bus, text);
        turn_until([&] { return arrived > before; });
    }

    void send(bool to_bus, const std::string& text) {
        if (to_bus)
            server_.send(text);
        else if (bus_->send(bridge_module, text) != ravd::bus_result::accepted)
            fail("the bus refused a message");
    }

    template <typename Condition>
    void turn_until(Condition holds) {
        const double end = now_s() + limit_ms / 1000.0;
        while (!holds()) {
            turn(100);
            if (now_s() > end) fail("a message is missing");
        }
    }

    void turn(int wait_ms) {
        server_.flush();
        pollfd ends[2] = {{server_.fd(), static_cast<short>(POLLIN | (server_.pending() ? POLLOUT : 0)), 0},
                          {bus_->descriptor(), POLLIN, 0}};
        poll(ends, 2, wait_ms);
        server_.receive([this](std::size_t) { ++at_service_; });
        ravd::bus_message message;
        while (bus_->receive(message))
            ++at_bus_;
    }

    // Of all its threads, to the nanosecond.
    double cpu_s() const {
        const std::string tasks = "/proc/" + std::to_string(bridge_) + "/task";
        const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(tasks.c_str()), closedir);
        if (!directory) fail("the bridge is gone");
        double total = 0;
        while (const dirent* entry = readdir(directory.get())) {
            std::FILE* file = std::fopen((tasks + "/" + entry->d_name + "/schedstat").c_str(), "r");
            unsigned long long ns = 0;
            if (file && std::fscanf(file, "%llu", &ns) == 1) total += static_cast<double>(ns) / 1e9;
            if (file) std::fclose(file);
        }
        return total;
    }

    long status_kb(const char* key) const {
        std::FILE* file = std::fopen(("/proc/" + std::to_string(bridge_) + "/status").c_str(), "r");
        if (!file) fail("the bridge is gone");
        char line[256];
        long value = -1;
        while (std::fgets(line, sizeof line, file))
            if (std::strncmp(line, key, std::strlen(key)) == 0) value = std::atol(line + std::strlen(key));
        std::fclose(file);
        return value;
    }

    websocket server_;
    std::unique_ptr<ravd::bus_endpoint> bus_;
    int bridge_ = 0;
    std::size_t at_bus_ = 0;
    std::size_t at_service_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 6) return 2;
    bench both(std::atoi(argv[1]), argv[2]);
    both.wait_for_bridge();
    if (argc == 3)
        both.run();
    else
        both.measure_throughput(argv[3], std::strcmp(argv[3], "to_bus") == 0,
                                {std::strtoul(argv[4], nullptr, 10), std::strtoul(argv[5], nullptr, 10)});
    return 0;
}
