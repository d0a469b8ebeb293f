// The messages of both sides as data: every member of an agent's in its place, with its type; of the service's, whose
// members may stand anywhere, which there are.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ravd::sim {

enum class member_kind {
    text,       // any string
    mac,        // "00:1A:2B:3C:4D:5E"
    mac_lower,  // "00:1a:2b:3c:4d:5e"
    mac_any,    // either case
    integer,
    flag,        // the integers 0 and 1
    fixed,       // the integer `value`
    fixed_text,  // the string `choices`
    one_of,      // one of the strings in `choices`, separated by blanks
    width,       // 20, 40 or 80
    range,       // an integer from `value` to `high`
    channels,    // channel numbers, each followed by one blank, ascending
    object,      // of `inner`
    list,        // of objects of `inner`
    rounds,      // of lists, none of them empty, of objects of `inner`
};

enum class presence {
    always,
    maybe,
    active,        // when "status" is 1, and only then
    maybe_active,  // only when "status" is 1
};

struct shape;

struct member_rule {
    const char* name;
    member_kind kind;
    presence needed = presence::always;
    const shape* inner = nullptr;
    int value = 0;
    const char* choices = nullptr;
    int high = 0;
};

// An object; its members stand in this order.
struct shape {
    const member_rule* members;
    std::size_t count;
};

template <std::size_t n>
constexpr shape shape_of(const member_rule (&members)[n]) {
    return {members, n};
}

struct message_rule {
    const char* cmd;
    bool needs_subscription;
    shape members;  // the envelope included
};

extern const shape radio_shape;
const message_rule* find_message_rule(const char* cmd);
// All rules: `count` of them.
const message_rule* message_rules(std::size_t& count);
// What the service sends; null for what is no message of it.
// Names of all of them.
std::vector<std::string> order_names();
const message_rule* find_order_rule(const char* cmd);
// "version", "service", "cmd", "ap-mac": what every message starts with.
extern const shape envelope_shape;

}  // namespace ravd::sim
