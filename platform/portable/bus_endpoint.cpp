#include "platform/portable/bus_endpoint.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/portable/bus_engine.h"

namespace ravd {

std::unique_ptr<bus_endpoint> bus_endpoint::open(const std::string& directory, int module, std::string* error) {
    std::string reason;
    std::unique_ptr<bus_endpoint> made;
    if (auto registration = bus_registration::take(directory, module, reason)) {
        unique_fd wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        unique_fd notify(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        if (wake && notify)
            made.reset(new bus_endpoint(
                std::make_unique<engine>(std::move(registration), std::move(wake), std::move(notify))));
        else
            reason = std::strerror(errno);
    }
    if (error) *error = reason;
    return made;
}

bus_endpoint::bus_endpoint(std::unique_ptr<engine> body) : engine_(std::move(body)) {}
bus_endpoint::~bus_endpoint() = default;

int bus_endpoint::module() const { return engine_->module(); }
int bus_endpoint::descriptor() const { return engine_->descriptor(); }
bool bus_endpoint::start() { return engine_->start(); }
void bus_endpoint::stop() { engine_->stop(); }
bool bus_endpoint::running() const { return engine_->running(); }
bool bus_endpoint::receive(bus_message& message) { return engine_->receive(message); }
bool bus_endpoint::is_open(std::uint64_t connection) const { return engine_->is_open(connection); }
bool bus_endpoint::has_sent_over(std::uint64_t connection) const { return engine_->has_sent_over(connection); }
int bus_endpoint::peer_of(std::uint64_t connection) const { return engine_->peer_of(connection); }
std::uint64_t bus_endpoint::transferred() const { return engine_->transferred(); }
std::size_t bus_endpoint::unsent() const { return engine_->unsent(); }

bus_result bus_endpoint::send(int destination, std::string_view text, std::uint64_t* connection) {
    return engine_->send(destination, text, connection);
}

bus_result bus_endpoint::send_over(std::uint64_t connection, std::string_view text) {
    return engine_->send_over(connection, text);
}

}  // namespace ravd
