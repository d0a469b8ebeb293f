#include "sim/service/tls_door.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <cstdio>
#include <utility>

namespace ravd::sim {
namespace {

constexpr int piece_size = 16 * 1024;

std::string last_error() {
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason ? reason : "unknown error";
}

}  // namespace

// One connection: TCP on one side, the plain end of a socket pair on the other. At most one piece waits in each
// direction.
class tls_door::tunnel {
  public:
    tunnel(event_loop& loop, SSL_CTX* context, unique_fd tcp, unique_fd plain)
        : loop_(loop), tcp_(std::move(tcp)), plain_(std::move(plain)), ssl_(SSL_new(context)) {
        SSL_set_fd(ssl_, tcp_.get());
        SSL_set_accept_state(ssl_);
        loop_.watch(tcp_.get(), POLLIN, [this](short) { pump(); });
        loop_.watch(plain_.get(), POLLIN, [this](short) { pump(); });
    }
    tunnel(const tunnel&) = delete;
    tunnel& operator=(const tunnel&) = delete;
    ~tunnel() {
        end();
        SSL_free(ssl_);
    }
    bool ended() const { return !tcp_; }

  private:
    void pump() {
        bool moved = true;
        while (moved && !ended()) {
            tcp_events_ = 0;
            moved = pump_in();
            moved = pump_out() || moved;
        }
        if (ended()) return;
        if (to_plain_.empty()) tcp_events_ |= POLLIN;
        const int wait_for_agent = to_tls_.empty() ? POLLIN : 0;
        const int wait_for_room = to_plain_.empty() ? 0 : POLLOUT;
        loop_.change(tcp_.get(), tcp_events_);
        loop_.change(plain_.get(), static_cast<short>(wait_for_agent | wait_for_room));
    }

    // What a call of the library that took nothing waits for. False: the connection is over.
    bool waits(int result) {
        const int reason = SSL_get_error(ssl_, result);
        if (reason == SSL_ERROR_WANT_WRITE) tcp_events_ |= POLLOUT;
        if (reason == SSL_ERROR_WANT_WRITE || reason == SSL_ERROR_WANT_READ) return true;
        if (!greeted_)
            std::fprintf(stderr, "a TLS handshake failed: %s\n",
                         reason == SSL_ERROR_SSL ? last_error().c_str() : "the agent ended it");
        ERR_clear_error();
        return false;
    }

    bool pump_in() {
        if (!greeted_) {
            const int n = SSL_do_handshake(ssl_);
            if (n <= 0) {
                if (!waits(n)) end();
                return false;
            }
            greeted_ = true;
        }
        if (to_plain_.empty()) {
            char piece[piece_size];
            const int n = SSL_read(ssl_, piece, sizeof piece);
            if (n <= 0) {
                if (!waits(n)) end();
                return false;
            }
            to_plain_.assign(piece, static_cast<std::size_t>(n));
        }
        const ssize_t n = send(plain_.get(), to_plain_.data(), to_plain_.size(), MSG_NOSIGNAL);
        if (n > 0) to_plain_.erase(0, static_cast<std::size_t>(n));
        return n > 0;
    }

    bool pump_out() {
        if (ended()) return false;
        if (!greeted_) {  // all that can come before is that the service gives up waiting
            char first;
            if (recv(plain_.get(), &first, 1, MSG_PEEK) == 0) end();
            return false;
        }
        if (to_tls_.empty()) {
            char piece[piece_size];
            const ssize_t n = recv(plain_.get(), piece, sizeof piece, 0);
            if (n == 0) {
                SSL_shutdown(ssl_);
                end();
            }
            if (n <= 0) return false;
            to_tls_.assign(piece, static_cast<std::size_t>(n));
        }
        const int n = SSL_write(ssl_, to_tls_.data(), static_cast<int>(to_tls_.size()));
        if (n > 0) to_tls_.clear();
        if (n <= 0 && !waits(n)) end();
        return n > 0;
    }

    void end() {
        if (ended()) return;
        loop_.forget(tcp_.get());
        loop_.forget(plain_.get());
        tcp_.reset();
        plain_.reset();
    }

    event_loop& loop_;
    unique_fd tcp_;
    unique_fd plain_;
    SSL* ssl_;
    std::string to_plain_;
    std::string to_tls_;
    short tcp_events_ = 0;
    bool greeted_ = false;  // the handshake is complete
};

tls_door::tls_door(event_loop& loop) : loop_(loop) {}

tls_door::~tls_door() {
    tunnels_.clear();
    SSL_CTX_free(context_);
}

bool tls_door::open(const tls_options& options, std::string& error) {
    context_ = SSL_CTX_new(TLS_server_method());
    SSL_CTX_set_min_proto_version(context_, TLS1_2_VERSION);
    const auto failed = [&error](const std::string& file) {
        error = file + ": " + last_error();
        return false;
    };
    if (SSL_CTX_use_certificate_chain_file(context_, options.cert_file.c_str()) != 1) return failed(options.cert_file);
    if (SSL_CTX_use_PrivateKey_file(context_, options.key_file.c_str(), SSL_FILETYPE_PEM) != 1)
        return failed(options.key_file);
    const char* const authority = options.client_ca_file.c_str();
    if (*authority == '\0') return true;
    if (SSL_CTX_load_verify_locations(context_, authority, nullptr) != 1) return failed(options.client_ca_file);
    SSL_CTX_set_client_CA_list(context_, SSL_load_client_CA_file(authority));
    SSL_CTX_set_verify(context_, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    return true;
}

unique_fd tls_door::admit(unique_fd tcp) {
    tunnels_.remove_if([](const std::unique_ptr<tunnel>& one) { return one->ended(); });
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return unique_fd();
    unique_fd plain(pair[0]);
    unique_fd behind(pair[1]);
    for (const unique_fd* one : {&tcp, &plain})
        fcntl(one->get(), F_SETFL, fcntl(one->get(), F_GETFL) | O_NONBLOCK);
    tunnels_.push_back(std::make_unique<tunnel>(loop_, context_, std::move(tcp), std::move(plain)));
    return behind;
}

}  // namespace ravd::sim
