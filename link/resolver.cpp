#include "link/resolver.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

#include "platform/unique_fd.h"

namespace ravd {
namespace {

// Enough for the C library's resolver, which keeps its packets on the stack.
constexpr std::size_t lookup_stack_size = 256 * 1024;

// Starts `body` detached, with all signals blocked: handlers run on the main thread. It owns `argument` on success.
bool start_detached(void* (*body)(void*), void* argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, lookup_stack_size);
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, body, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return started;
}

}  // namespace

// Shared by the resolver and the look-up's thread; the last of them frees it.
struct resolver::job {
    std::string host;
    lookup_function lookup;
    std::vector<std::string> addresses;  // written by the thread before `done`
    std::atomic<bool> done{false};
    unique_fd wake;  // its own descriptor: the look-up may outlive whom it wakes

    static void* run(void* argument) {
        const std::unique_ptr<std::shared_ptr<job>> holder(static_cast<std::shared_ptr<job>*>(argument));
        job& self = **holder;
        self.addresses = self.lookup(self.host);
        self.done.store(true, std::memory_order_release);
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(self.wake.get(), &one, sizeof one);
        return nullptr;
    }
};

bool is_numeric_address(const std::string& host) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
}

std::vector<std::string> look_up_addresses(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    std::vector<std::string> addresses;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return addresses;
    for (const addrinfo* entry = found; entry; entry = entry->ai_next) {
        char text[INET6_ADDRSTRLEN + 32];  // with the name of a zone
        if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0)
            addresses.emplace_back(text);
    }
    freeaddrinfo(found);
    return addresses;
}

resolver::resolver(std::string host, lookup_function lookup)
    : host_(std::move(host)), lookup_(std::move(lookup)), numeric_(is_numeric_address(host_)) {}

bool resolver::start(int wake_fd) {
    if (numeric_) return true;
    if (job_ && !(ended() && job_->addresses.empty())) return true;
    auto fresh = std::make_shared<job>();
    fresh->wake = unique_fd(fcntl(wake_fd, F_DUPFD_CLOEXEC, 0));
    fresh->host = host_;
    fresh->lookup = lookup_;
    auto holder = std::make_unique<std::shared_ptr<job>>(fresh);
    if (!fresh->wake || !start_detached(job::run, holder.get())) return false;
    static_cast<void>(holder.release());
    job_ = std::move(fresh);
    return true;
}

bool resolver::ended() const { return !job_ || job_->done.load(std::memory_order_acquire); }

std::string resolver::take() {
    if (numeric_) return host_;
    if (!job_) return {};
    const std::vector<std::string> found = std::move(std::exchange(job_, nullptr)->addresses);
    if (found.empty()) return {};
    auto at = std::find(found.begin(), found.end(), last_);
    if (at == found.end()) {
        at = found.begin();
    } else if (next_) {
        at = std::find_if(at, found.end(), [this](const std::string& address) { return address != last_; });
        if (at == found.end()) at = found.begin();
    }
    last_ = *at;
    next_ = true;  // unless it works
    return last_;
}

}  // namespace ravd
