// A generic netlink socket with bounded waits, over libnl.
#pragma once

#include <netlink/attr.h>
#include <netlink/msg.h>
#include <netlink/socket.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace ravd::netlink {

struct socket_closer {
    void operator()(nl_sock* socket) const { nl_socket_free(socket); }
};
using socket_ptr = std::unique_ptr<nl_sock, socket_closer>;

// Null, with errno set, when there is none. A wait for a message ends after `limit_ms`.
socket_ptr open_socket(int limit_ms);

// A request to nl80211 under construction. Attributes that do not fit, or no memory for them, are seen when it is sent.
class request {
  public:
    // `flags`: NLM_F_DUMP for a list, else 0.
    request(int family, std::uint8_t command, int flags = 0);

    request& put_u32(int attribute, std::uint32_t value);
    request& put_flag(int attribute);
    request& put_text(int attribute, const char* text);
    request& put_bytes(int attribute, const void* bytes, std::size_t length);
    // A nested attribute whose members are filled between the two calls.
    request& begin(int attribute);
    request& end();

    // Null when something did not fit.
    nl_msg* get() const { return good_ ? message_.get() : nullptr; }

  private:
    struct freer {
        void operator()(nl_msg* message) const { nlmsg_free(message); }
    };
    void note(int result) { good_ = good_ && result >= 0; }

    std::unique_ptr<nl_msg, freer> message_;
    nlattr* nested_ = nullptr;
    bool good_;
};

// Attributes of a reply by their number; null for what is not there, or beyond `limit`.
using attributes = nlattr* const*;
using reply_reader = std::function<void(std::uint8_t command, attributes found)>;

// Sends a request and waits for the end of its answer; `read` is called for each message of it and may be empty. 0 or a
// negative error number: -EAGAIN when a list changed while it was read, -ETIMEDOUT when the answer stayed away; the
// socket is of no use then.
int exchange(nl_sock* socket, const request& message, const reply_reader& read);

// Hands over messages of a group that are there, without waiting, and of a flood only a part; 0 or a negative error
// number.
int drain(nl_sock* socket, const reply_reader& read);

// Values of attributes; nothing when the attribute is absent or too short.
bool get_u8(const nlattr* attribute, std::uint8_t& value);
bool get_u16(const nlattr* attribute, std::uint16_t& value);
bool get_u32(const nlattr* attribute, std::uint32_t& value);
bool get_bytes(const nlattr* attribute, void* bytes, std::size_t length);

// Calls `read` with each member of a nested attribute.
template <typename Read>
void for_each_member(const nlattr* nested, Read read) {
    if (!nested) return;
    auto* member = static_cast<nlattr*>(nla_data(nested));
    for (int left = nla_len(nested); nla_ok(member, left); member = nla_next(member, &left))
        read(member);
}

}  // namespace ravd::netlink
