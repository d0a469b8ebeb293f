// TLS before the lab service: what is behind it sees the plain bytes of a socket, as without.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "platform/unique_fd.h"
#include "sim/common/event_loop.h"

struct ssl_ctx_st;

namespace ravd::sim {

struct tls_options {
    std::string cert_file;  // PEM: the service's certificate with its chain; empty: no TLS
    std::string key_file;
    std::string client_ca_file;  // who may have signed the agents' certificates; empty: none is asked for
};

class tls_door {
  public:
    explicit tls_door(event_loop& loop);
    tls_door(const tls_door&) = delete;
    tls_door& operator=(const tls_door&) = delete;
    ~tls_door();

    // Reads the files. False with the reason in `error`.
    bool open(const tls_options& options, std::string& error);
    // Takes a non-blocking TCP connection and returns the socket on which its plain bytes come and go; none when there
    // is no socket to be had.
    unique_fd admit(unique_fd tcp);

  private:
    class tunnel;

    event_loop& loop_;
    ssl_ctx_st* context_ = nullptr;
    std::list<std::unique_ptr<tunnel>> tunnels_;
};

}  // namespace ravd::sim
