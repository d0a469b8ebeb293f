// Instead of tls_context.cpp where libwebsockets was built without TLS, or with another one than OpenSSL.

#include "link/tls_context.h"

namespace ravd {

struct tls_context::state {
    std::string failure;
    std::string certificate_end;
};

tls_context::tls_context() : state_(std::make_unique<state>()) {}
tls_context::~tls_context() = default;

bool tls_context::load(const tls_settings&, const std::string&) {
    state_->failure = "TLS is configured, and the websocket library has none";
    return false;
}

void tls_context::use_in(lws_context_creation_info&) const {}
const std::string& tls_context::failure() const { return state_->failure; }
const std::string& tls_context::certificate_end() const { return state_->certificate_end; }

}  // namespace ravd
