#include "platform/netlink/socket.h"

#include <linux/nl80211.h>
#include <netlink/errno.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

#include "platform/monotonic.h"

namespace ravd::netlink {
namespace {

constexpr std::size_t message_limit = 32 * 1024;  // the kernel's own for a piece of a list
constexpr std::int64_t answer_limit_ms = 4000;    // for all messages of an answer together
constexpr std::int64_t events_limit_ms = 100;     // likewise of those that are there

// What one exchange has come to: above 0 while its end is awaited.
struct progress {
    const reply_reader* read;
    std::int64_t give_up_ms;
    int result = 1;
};

int on_message(nl_msg* message, void* argument) {
    auto& state = *static_cast<progress*>(argument);
    // Here, for the library reads a list of any length by itself.
    if (monotonic_ms() > state.give_up_ms) {
        state.result = -ETIMEDOUT;
        return NL_STOP;
    }
    if (!*state.read) return NL_SKIP;
    const nlmsghdr* const header = nlmsg_hdr(message);
    if (!genlmsg_valid_hdr(nlmsg_hdr(message), 0)) return NL_SKIP;
    auto* const body = static_cast<genlmsghdr*>(nlmsg_data(header));
    nlattr* found[NL80211_ATTR_MAX + 1];
    if (nla_parse(found, NL80211_ATTR_MAX, genlmsg_attrdata(body, 0), genlmsg_attrlen(body, 0), nullptr) < 0)
        return NL_SKIP;
    (*state.read)(body->cmd, found);
    return NL_SKIP;
}

int on_error(sockaddr_nl*, nlmsgerr* error, void* argument) {
    static_cast<progress*>(argument)->result = error->error < 0 ? error->error : -EPROTO;
    return NL_STOP;
}

int on_end(nl_msg*, void* argument) {
    static_cast<progress*>(argument)->result = 0;
    return NL_STOP;
}

int on_any_sequence(nl_msg*, void*) { return NL_OK; }

struct callbacks_freer {
    void operator()(nl_cb* callbacks) const { nl_cb_put(callbacks); }
};
using callbacks_ptr = std::unique_ptr<nl_cb, callbacks_freer>;

}  // namespace

socket_ptr open_socket(int limit_ms) {
    socket_ptr socket(nl_socket_alloc());
    if (!socket) {
        errno = ENOMEM;
        return nullptr;
    }
    if (nl_connect(socket.get(), NETLINK_GENERIC) < 0) return nullptr;
    const int fd = nl_socket_get_fd(socket.get());
    const timeval limit{limit_ms / 1000, static_cast<suseconds_t>(limit_ms % 1000 * 1000)};
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) < 0 ||
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) < 0)
        return nullptr;
    nl_socket_set_msg_buf_size(socket.get(), message_limit);
    return socket;
}

request::request(int family, std::uint8_t command, int flags) : message_(nlmsg_alloc()) {
    good_ = message_ && genlmsg_put(message_.get(), NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, flags, command, 0) != nullptr;
}

request& request::put_u32(int attribute, std::uint32_t value) { return put_bytes(attribute, &value, sizeof value); }

request& request::put_flag(int attribute) { return put_bytes(attribute, nullptr, 0); }

request& request::put_text(int attribute, const char* text) {
    return put_bytes(attribute, text, std::strlen(text) + 1);
}

request& request::put_bytes(int attribute, const void* bytes, std::size_t length) {
    if (good_) note(nla_put(message_.get(), attribute, static_cast<int>(length), bytes));
    return *this;
}

request& request::begin(int attribute) {
    if (good_) nested_ = nla_nest_start(message_.get(), attribute);
    good_ = good_ && nested_;
    return *this;
}

request& request::end() {
    if (good_) note(nla_nest_end(message_.get(), nested_));
    return *this;
}

int exchange(nl_sock* socket, const request& message, const reply_reader& read) {
    if (!message.get()) return -EMSGSIZE;
    const callbacks_ptr callbacks(nl_cb_alloc(NL_CB_DEFAULT));
    if (!callbacks) return -ENOMEM;
    progress state{&read, monotonic_ms() + answer_limit_ms};
    nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, on_message, &state);
    nl_cb_set(callbacks.get(), NL_CB_FINISH, NL_CB_CUSTOM, on_end, &state);
    nl_cb_set(callbacks.get(), NL_CB_ACK, NL_CB_CUSTOM, on_end, &state);
    nl_cb_err(callbacks.get(), NL_CB_CUSTOM, on_error, &state);
    int moved = nl_send_auto(socket, message.get());
    if (moved < 0) return -ETIMEDOUT;
    while (state.result > 0) {
        moved = nl_recvmsgs(socket, callbacks.get());
        if (moved < 0) break;
    }
    if (state.result > 0) return -ETIMEDOUT;
    return state.result == 0 && moved == -NLE_DUMP_INTR ? -EAGAIN : state.result;
}

int drain(nl_sock* socket, const reply_reader& read) {
    const callbacks_ptr callbacks(nl_cb_alloc(NL_CB_DEFAULT));
    if (!callbacks) return -ENOMEM;
    progress state{&read, monotonic_ms() + events_limit_ms};
    nl_cb_set(callbacks.get(), NL_CB_SEQ_CHECK, NL_CB_CUSTOM, on_any_sequence, nullptr);
    nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, on_message, &state);
    int moved = 0;
    do
        moved = nl_recvmsgs(socket, callbacks.get());
    while (moved >= 0 && state.result > 0);
    if (moved == -NLE_AGAIN || state.result == -ETIMEDOUT) return 0;
    // The socket overflowed: what came meanwhile is lost, and it goes on.
    return moved == -NLE_NOMEM ? -ENOBUFS : -EIO;
}

bool get_u8(const nlattr* attribute, std::uint8_t& value) { return get_bytes(attribute, &value, sizeof value); }
bool get_u16(const nlattr* attribute, std::uint16_t& value) { return get_bytes(attribute, &value, sizeof value); }
bool get_u32(const nlattr* attribute, std::uint32_t& value) { return get_bytes(attribute, &value, sizeof value); }
bool get_bytes(const nlattr* attribute, void* bytes, std::size_t length) {
    if (!attribute || static_cast<std::size_t>(nla_len(attribute)) < length) return false;
    std::memcpy(bytes, nla_data(attribute), length);
    return true;
}

}  // namespace ravd::netlink
