#include "link/tls_context.h"

#include <libwebsockets.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <ctime>

#include "link/resolver.h"
#include "link/tls_file.h"

namespace ravd {
namespace {

template <auto Free>
struct freed_by {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};
using context_ptr = std::unique_ptr<SSL_CTX, freed_by<SSL_CTX_free>>;
using bio_ptr = std::unique_ptr<BIO, freed_by<BIO_free>>;
using certificate_ptr = std::unique_ptr<X509, freed_by<X509_free>>;
using key_ptr = std::unique_ptr<EVP_PKEY, freed_by<EVP_PKEY_free>>;

// The text of a key leaves the memory with its owner.
class secret_text {
  public:
    secret_text() = default;
    secret_text(const secret_text&) = delete;
    secret_text& operator=(const secret_text&) = delete;
    ~secret_text() { OPENSSL_cleanse(text.data(), text.size()); }

    std::string text;
};

// Nobody is there to type a password.
int no_password(char*, int, int, void*) { return -1; }

bio_ptr reader_of(const std::string& text) {
    return bio_ptr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

certificate_ptr next_certificate(BIO* reader) {
    return certificate_ptr(PEM_read_bio_X509(reader, nullptr, no_password, nullptr));
}

// Whether a file of certificates ended where it should, not in the middle of something unreadable.
bool ended_well() {
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    return error == 0 || (ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE);
}

// The error that the library reports for an alert of the other side: it knows more of them by that name.
std::string alert_text(int alert) {
    const char* const text = ERR_reason_error_string(ERR_PACK(ERR_LIB_SSL, 0, SSL_AD_REASON_OFFSET + alert));
    return text ? text : "alert " + std::to_string(alert);
}

std::string end_of(const X509* certificate) {
    tm when{};
    char text[32];
    if (!certificate || ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &when) != 1) return {};
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &when));
}

}  // namespace

struct tls_context::state {
    context_ptr context;
    std::string name;  // the certificate must be for it
    std::string failure;
    std::string certificate_end;

    bool create();
    bool load_authorities(const std::string& path);
    bool load_certificate(const std::string& path);
    bool load_key(const std::string& path);
    bool failed_file(const char* key, const std::string& path, const std::string& reason);
    void note(const std::string& reason) {
        if (failure.empty()) failure = reason;
    }

    static void watch(const SSL* ssl, int where, int value);
    bool begin_handshake(SSL* ssl) const;
};

tls_context::tls_context() : state_(std::make_unique<state>()) {}
tls_context::~tls_context() = default;

void tls_context::use_in(lws_context_creation_info& info) const {
    info.options |= LWS_SERVER_OPTION_DO_SSL_GLOBAL_INIT;
    info.provided_client_ssl_ctx = state_->context.get();
}

const std::string& tls_context::failure() const { return state_->failure; }
const std::string& tls_context::certificate_end() const { return state_->certificate_end; }

bool tls_context::load(const tls_settings& settings, const std::string& host) {
    state& self = *state_;
    self.failure.clear();
    self.certificate_end.clear();
    self.name = settings.server_name.empty() ? host : settings.server_name;
    ERR_clear_error();
    if (!self.create()) {
        self.failure = "TLS cannot be set up";
        return false;
    }
    if (!self.load_authorities(settings.ca_file)) return false;
    if (settings.cert_file.empty() && settings.key_file.empty()) return true;
    if (settings.cert_file.empty() || settings.key_file.empty()) {
        self.failure = settings.key_file.empty() ? "tls_cert_file is set without tls_key_file"
                                                 : "tls_key_file is set without tls_cert_file";
        return false;
    }
    return self.load_certificate(settings.cert_file) && self.load_key(settings.key_file);
}

bool tls_context::state::create() {
    context.reset(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) return false;
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    // The library writes again from another place; buffers of an idle connection are given back.
    SSL_CTX_set_mode(context.get(), SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_info_callback(context.get(), watch);
    return SSL_CTX_set_app_data(context.get(), this) == 1;
}

bool tls_context::state::failed_file(const char* key, const std::string& path, const std::string& reason) {
    failure = std::string(key) + " " + path + ": " + reason;
    ERR_clear_error();
    return false;
}

bool tls_context::state::load_authorities(const std::string& path) {
    constexpr const char* key = "tls_ca_file";
    std::string text;
    std::string reason;
    if (!read_tls_file(path, false, text, reason)) return failed_file(key, path, reason);
    const bio_ptr reader = reader_of(text);
    X509_STORE* store = SSL_CTX_get_cert_store(context.get());
    int found = 0;
    while (const certificate_ptr one = next_certificate(reader.get())) {
        if (X509_STORE_add_cert(store, one.get()) != 1) return failed_file(key, path, "a certificate cannot be used");
        ++found;
    }
    if (!ended_well()) return failed_file(key, path, "not readable as PEM");
    return found > 0 || failed_file(key, path, "no certificate in it");
}

bool tls_context::state::load_certificate(const std::string& path) {
    constexpr const char* key = "tls_cert_file";
    std::string text;
    std::string reason;
    if (!read_tls_file(path, false, text, reason)) return failed_file(key, path, reason);
    const bio_ptr reader = reader_of(text);
    const certificate_ptr ours = next_certificate(reader.get());
    if (!ours) return failed_file(key, path, "no certificate in it");
    if (SSL_CTX_use_certificate(context.get(), ours.get()) != 1)
        return failed_file(key, path, "the certificate cannot be used");
    while (const certificate_ptr one = next_certificate(reader.get()))
        if (SSL_CTX_add1_chain_cert(context.get(), one.get()) != 1)
            return failed_file(key, path, "a certificate of its chain cannot be used");
    return ended_well() || failed_file(key, path, "not readable as PEM");
}

bool tls_context::state::load_key(const std::string& path) {
    constexpr const char* key = "tls_key_file";
    secret_text secret;
    std::string reason;
    if (!read_tls_file(path, true, secret.text, reason)) return failed_file(key, path, reason);
    const bio_ptr reader = reader_of(secret.text);
    const key_ptr ours(PEM_read_bio_PrivateKey(reader.get(), nullptr, no_password, nullptr));
    if (!ours) return failed_file(key, path, "no key in it that can be read");
    if (SSL_CTX_use_PrivateKey(context.get(), ours.get()) != 1 || SSL_CTX_check_private_key(context.get()) != 1)
        return failed_file(key, path, "not the key of the certificate");
    return true;
}

// Called before the first message of the handshake is built: the library has set the name of the request by then.
// Numbers are not sent as a name, and a certificate has them as addresses.
bool tls_context::state::begin_handshake(SSL* ssl) const {
    X509_VERIFY_PARAM* wanted = SSL_get0_param(ssl);
    SSL_set_verify(ssl, SSL_VERIFY_PEER, nullptr);
    X509_VERIFY_PARAM_set_hostflags(wanted, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const bool numeric = is_numeric_address(name);
    const char* const host = numeric ? nullptr : name.c_str();
    if (SSL_set_tlsext_host_name(ssl, host) != 1 || X509_VERIFY_PARAM_set1_host(wanted, host, 0) != 1) return false;
    return (numeric ? X509_VERIFY_PARAM_set1_ip_asc(wanted, name.c_str())
                    : X509_VERIFY_PARAM_set1_ip(wanted, nullptr, 0)) == 1;
}

void tls_context::state::watch(const SSL* ssl, int where, int value) {
    auto& self = *static_cast<state*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
    if ((where & SSL_CB_HANDSHAKE_START) != 0) {
        auto* begun = const_cast<SSL*>(ssl);
        if (self.begin_handshake(begun)) return;
        self.note("TLS: the name " + self.name + " cannot be verified");
        SSL_set_verify(begun, SSL_VERIFY_PEER, [](int, X509_STORE_CTX*) { return 0; });
    } else if ((where & SSL_CB_HANDSHAKE_DONE) != 0) {
        self.certificate_end = end_of(certificate_ptr(SSL_get_peer_certificate(ssl)).get());
    } else if ((where & SSL_CB_ALERT) != 0) {
        if ((value & 0xff) == SSL_AD_CLOSE_NOTIFY) return;
        const long verified = SSL_get_verify_result(ssl);
        if ((where & SSL_CB_READ) != 0)
            self.note("TLS: the service ended it: " + alert_text(value & 0xff));
        else if (verified != X509_V_OK)
            self.note(std::string("TLS: certificate of the service: ") + X509_verify_cert_error_string(verified));
    } else if ((where & SSL_CB_EXIT) != 0 && value <= 0) {
        const unsigned long error = ERR_peek_last_error();  // 0: it only has to wait
        if (const char* const reason = error == 0 ? nullptr : ERR_reason_error_string(error))
            self.note(std::string("TLS: ") + reason);
    }
}

}  // namespace ravd
