// TLS of the link: the library's TLS set up from the files of the configuration, always verifying the service.
#pragma once

#include <memory>
#include <string>

struct lws_context_creation_info;

namespace ravd {

struct tls_settings {
    bool enabled = false;   // then there is no way back to plain text, whatever else is set
    std::string ca_file;    // PEM: who may have signed the service's certificate
    std::string cert_file;  // PEM: our certificate and what it was signed with; empty: none. With its key or not at all
    std::string key_file;   // PEM, not readable by others
    std::string server_name;  // what the service's certificate must be for; empty: the URL's host
};

// For one attempt. On the worker's thread.
class tls_context {
  public:
    tls_context();
    tls_context(const tls_context&) = delete;
    tls_context& operator=(const tls_context&) = delete;
    ~tls_context();

    // Reads the files; `host` is the URL's. False: the attempt has failed, the reason is in failure().
    bool load(const tls_settings& settings, const std::string& host);
    // Has a context of the websocket library use what was loaded. That context must be gone before the object is.
    void use_in(lws_context_creation_info& info) const;
    // Why it did not load, or why the handshake failed; empty when nothing is known.
    const std::string& failure() const;
    // When the service's certificate ends, as in 2026-12-31T23:59:59Z; empty before it was verified.
    const std::string& certificate_end() const;

  private:
    struct state;
    std::unique_ptr<state> state_;
};

}  // namespace ravd
