// Routing of the bus: three endpoints and a crowd of bare sockets that connect, write pieces of frames, watch and
// close, in any order. What an endpoint was given whole arrives whole, once, in order, and where it was sent; an answer
// goes over the connection that asked; and where nobody restarted and nothing was crowded out, everything arrives.
//
// Aims at: platform/portable/bus_connection.cpp platform/portable/bus_connections.cpp
//          platform/portable/bus_exchange.cpp platform/portable/bus_frame.cpp

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/portable/bus_exchange.h"

namespace {

using namespace ravd;

constexpr int modules = 3;
constexpr int first_stranger = 60;
constexpr std::size_t crowd_limit = 80;
constexpr std::size_t sizes[] = {0, 1, 40, 700, 2500, 9000, 25000, 66000};
constexpr int send_buffer = 4096;  // small, so that a few of these fill it

void require(bool holds, int line = __builtin_LINE()) {
    if (holds) return;
    std::fprintf(stderr, "line %d does not hold\n", line);
    std::abort();
}

// The places of the endpoints, for all runs.
class places {
  public:
    static places& get() {
        static places instance;
        return instance;
    }
    ~places() { (void)!std::system(("rm -rf " + directory).c_str()); }

    std::string directory;
    std::unique_ptr<bus_registration> registrations[modules];
    unique_fd listeners[modules];

  private:
    places() {
        char name[] = "/tmp/ravd-fuzz-bus-XXXXXX";
        require(mkdtemp(name) != nullptr);
        directory = name;
        std::string error;
        for (int i = 0; i < modules; ++i) {
            registrations[i] = bus_registration::take(directory, i, error);
            require(registrations[i] != nullptr);
            listeners[i] = registrations[i]->listen();
        }
    }
};

std::string frame(int source, int destination, const std::string& text, bus_frame_kind kind) {
    unsigned char head[mbus_header_size];
    encode_bus_header({source, destination, static_cast<std::uint32_t>(text.size()), kind}, head);
    return std::string(reinterpret_cast<char*>(head), sizeof head) + text;
}

// Messages that have to arrive in order: by sender, receiver, and connection (0: wherever the endpoint sends them).
using stream = std::tuple<int, int, std::uint64_t>;
struct progress {
    int sent = 0;
    int arrived = 0;
};

struct end {
    explicit end(int module) : exchange(*places::get().registrations[module]) {
        exchange.set_listener(places::get().listeners[module].get());
    }
    bus_exchange exchange;
    bus_message last;
    std::map<int, std::uint64_t> asked;  // for each module the connection of its own that brought its last message
    bool lossy = false;                  // something may have been closed with messages in it
};

struct stranger {
    unique_fd socket;
    int module;
    std::string rest;  // of the frame that is being written
    bus_frame_reader reader;
};

class story {
  public:
    story(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {
        for (int i = 0; i < modules; ++i)
            ends_.push_back(std::make_unique<end>(i));
    }
    ~story() {
        for (int i = 0; i < modules; ++i)
            drop_waiting(i);
    }

    void run() {
        while (at_ < size_)
            step();
        for (const auto& one : ends_)
            one->exchange.end_rows();
        // Accepting moves no bytes: the end is where two rounds saw none.
        for (int still = 0; still < 2; ++still) {
            const std::uint64_t before = moved();
            for (int i = 0; i < modules; ++i) {
                turn(i);
                while (take(i))
                    continue;
            }
            if (moved() != before) still = -1;
        }
        for (const auto& [key, count] : streams_) {
            const auto [source, destination, connection] = key;
            if (connection != 0 || ends_[index(source)]->lossy || ends_[index(destination)]->lossy) continue;
            require(count.sent == count.arrived);
        }
    }

  private:
    std::uint8_t next() { return at_ < size_ ? data_[at_++] : 0; }
    static std::size_t index(int module) { return static_cast<std::size_t>(module); }

    std::uint64_t moved() const {
        std::uint64_t sum = 0;
        for (const auto& one : ends_)
            sum += one->exchange.connections().transferred();
        return sum;
    }

    void step() {
        const std::uint8_t what = next();
        const int module = next() % modules;
        switch (what % 12) {
            case 0:
            case 1:
                return send(module, next() % modules, sizes[next() % std::size(sizes)], what >= 128);
            case 2:
            case 3:
                return turn(module);
            case 4:
                (void)take(module);
                return;
            case 5:
                return answer(module, sizes[next() % std::size(sizes)]);
            case 6:
                return restart(module, what & 0x80);
            case 7:
                return join_crowd(module);
            case 8:
                return write_piece(next());
            case 9:
                if (!crowd_.empty()) crowd_.erase(crowd_.begin() + next() % static_cast<int>(crowd_.size()));
                return;
            case 10:
                return read_as_stranger(next());
            default:
                ends_[index(module)]->lossy = true;
                return ends_[index(module)]->exchange.end_stalled();
        }
    }

    std::string text_of(const stream& key, int number, std::size_t size) {
        const auto& [source, destination, connection] = key;
        std::string text = std::to_string(source) + " " + std::to_string(destination) + " " +
                           std::to_string(connection) + " " + std::to_string(number) + " " + std::to_string(size);
        return text + ' ' + std::string(size, static_cast<char>('a' + number % 26));
    }

    void send(int source, int destination, std::size_t size, bool more) {
        end& from = *ends_[index(source)];
        const stream key{source, destination, 0};
        std::uint64_t used = 0;
        const std::string text = text_of(key, streams_[key].sent + 1, size);
        const bus_result result = from.exchange.send(destination, text, &used, more);
        if (result != bus_result::accepted) return;
        ++streams_[key].sent;
        const bus_connection* connection = from.exchange.connections().find(used);
        require(connection && connection->peer() == destination);
        const auto asked = from.asked.find(destination);
        const bus_connection* expected =
            asked == from.asked.end() ? nullptr : from.exchange.connections().find(asked->second);
        require(!expected || expected->write_failed() || expected == connection);
    }

    void answer(int source, std::size_t size) {
        end& from = *ends_[index(source)];
        if (!from.last.block) return;
        const stream key{source, from.last.source, from.last.connection};
        if (from.exchange.send_over(from.last.connection, text_of(key, streams_[key].sent + 1, size)) ==
            bus_result::accepted)
            ++streams_[key].sent;
    }

    void turn(int module) {
        end& one = *ends_[index(module)];
        poll_set_.clear();
        (void)one.exchange.fill_poll_set(poll_set_, true);
        // Those that gave way since are still there.
        require(poll_set_.size() <= bus_connections::limit * 2);
        for (const pollfd& entry : poll_set_)
            (void)setsockopt(entry.fd, SOL_SOCKET, SO_SNDBUF, &send_buffer, sizeof send_buffer);
        if (poll(poll_set_.data(), poll_set_.size(), 0) > 0)
            one.exchange.serve(poll_set_.data(), poll_set_.size(), true);
        one.exchange.wake().clear();
        (void)one.exchange.accept_waiting();
    }

    bool take(int module) {
        end& one = *ends_[index(module)];
        bus_message message;
        if (!one.exchange.receive(message)) return false;
        one.exchange.settle(message.connection);
        const bus_connection* connection = one.exchange.connections().find(message.connection);
        if (!connection || !connection->dialled()) one.asked[message.source] = message.connection;
        const std::string text(message.text());
        require(message.block.get()[mbus_header_size + message.length] == 0);
        one.last = std::move(message);
        if (one.last.source >= modules) {
            require(damaged_ || text == std::string(text.size(), 's'));
            return true;
        }
        int source = 0, destination = 0, number = 0;
        unsigned long long over = 0;
        std::size_t size = 0;
        require(std::sscanf(text.c_str(), "%d %d %llu %d %zu", &source, &destination, &over, &number, &size) == 5);
        require(source == one.last.source && destination == module);
        const stream key{source, destination, over};
        require(text == text_of(key, number, size));
        progress& count = streams_[key];
        require(number > count.arrived && number <= count.sent);
        require(number == count.arrived + 1 || ends_[index(source)]->lossy || one.lossy);
        count.arrived = number;
        return true;
    }

    void drop_waiting(int module) {
        while (unique_fd(accept(places::get().listeners[module].get(), nullptr, nullptr)))
            continue;
    }

    void restart(int module, bool keeps_good_ones) {
        end& one = *ends_[index(module)];
        one.lossy = true;
        if (keeps_good_ones) {
            one.exchange.pause();
        } else {
            one.exchange.close_all();
        }
        drop_waiting(module);
    }

    void join_crowd(int module) {
        if (crowd_.size() >= crowd_limit) return;
        unique_fd socket = places::get().registrations[module]->connect(module);
        if (!socket) return;
        crowd_.push_back(stranger{std::move(socket), module, {}, {}});
        // Who comes while all places are taken is sent away.
        if (crowd_.size() > bus_connections::limit / 2)
            for (const auto& one : ends_)
                one->lossy = true;
    }

    // Some bytes of a frame: the next of the one that is under way, else of a new one, perhaps a damaged one.
    void write_piece(std::uint8_t which) {
        const std::uint8_t how = next();
        if (crowd_.empty()) return;
        stranger& one = crowd_[which % crowd_.size()];
        if (one.rest.empty()) {
            const int number = first_stranger + which % 4;
            const auto kind = static_cast<bus_frame_kind>(how % 3);
            const std::string text = kind == bus_frame_kind::message ? std::string(sizes[next() % 7u], 's') : "";
            one.rest = frame(number, one.module, text, kind);
            // Not the sender's number: it might become one of the endpoints'.
            if (how & 0x40) {
                one.rest[4 + next() % 13u] ^= static_cast<char>(next());
                damaged_ = true;
            }
        }
        const std::size_t wanted = how & 0x80 ? one.rest.size() : std::min<std::size_t>(one.rest.size(), how & 0x3F);
        const ssize_t n = ::send(one.socket.get(), one.rest.data(), wanted, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) one.rest.erase(0, static_cast<std::size_t>(n));
    }

    void read_as_stranger(std::uint8_t which) {
        if (crowd_.empty()) return;
        stranger& one = crowd_[which % crowd_.size()];
        static unsigned char bytes[16384];
        const ssize_t n = recv(one.socket.get(), bytes, sizeof bytes, MSG_DONTWAIT);
        for (std::size_t done = 0, used = 0; n > 0 && done < static_cast<std::size_t>(n); done += used) {
            const auto state = one.reader.feed(bytes + done, static_cast<std::size_t>(n) - done, used);
            require(state != bus_frame_reader::state::bad);
            if (state == bus_frame_reader::state::whole) (void)one.reader.take();
        }
    }

    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
    std::vector<std::unique_ptr<end>> ends_;
    std::vector<stranger> crowd_;
    bool damaged_ = false;  // a stranger's text may hold its next frame
    std::map<stream, progress> streams_;
    std::vector<pollfd> poll_set_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size <= 600) story(data, size).run();
    return 0;
}
