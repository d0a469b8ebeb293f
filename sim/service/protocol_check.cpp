#include "sim/service/protocol_check.h"

#include <cctype>
#include <climits>
#include <cstring>

#include "sim/common/text.h"
#include "sim/service/arguments.h"
#include "sim/service/protocol_tables.h"

namespace ravd::sim {
namespace {

constexpr std::size_t fault_limit = 20;
constexpr std::size_t quote_limit = 40;

class checker {
  public:
    // `ordered`: members stand in the order of their shape.
    explicit checker(bool ordered) : ordered_(ordered) {}
    void object(json_object* value, const std::string& path, const shape& expected);
    void fault(const std::string& path, const std::string& text);
    std::vector<std::string> take();

  private:
    void order(json_object* value, const std::string& path, const shape& expected);
    void member(json_object* value, const std::string& path, const member_rule& rule);
    void list(json_object* value, const std::string& path, const shape& inner);
    void radio(json_object* value, const std::string& path);

    bool ordered_;
    std::vector<std::string> faults_;
    std::size_t more_ = 0;
};

const char* type_name(json_object* value) {
    switch (json_object_get_type(value)) {
        case json_type_boolean:
            return "a boolean";
        case json_type_double:
            return "a fraction";
        case json_type_int:
            return "an integer";
        case json_type_object:
            return "an object";
        case json_type_array:
            return "an array";
        case json_type_string:
            return "a string";
        default:
            return "null";
    }
}

const member_rule* find(const shape& where, const char* name) {
    for (std::size_t i = 0; i < where.count; ++i)
        if (std::strcmp(where.members[i].name, name) == 0) return &where.members[i];
    return nullptr;
}

bool is_mac(const std::string& text, bool upper, bool lower) {
    if (text.size() != 17) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (i % 3 == 2) {
            if (c != ':') return false;
        } else if (!std::isxdigit(c) || (std::isupper(c) && !upper) || (std::islower(c) && !lower)) {
            return false;
        }
    }
    return true;
}

bool has_word(const char* words, const std::string& word) {
    const std::string padded = " " + std::string(words) + " ";
    return !word.empty() && word.find(' ') == std::string::npos && padded.find(" " + word + " ") != std::string::npos;
}

bool is_channel_list(const std::string& text) {
    long last = -1;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find(' ', start);
        int channel = 0;
        if (end == std::string::npos || !parse_int(text.substr(start, end - start), channel) || channel <= last)
            return false;
        last = channel;
        start = end + 1;
    }
    return true;
}

void checker::fault(const std::string& path, const std::string& text) {
    if (faults_.size() < fault_limit)
        faults_.push_back(path.empty() ? text : path + ": " + text);
    else
        ++more_;
}

std::vector<std::string> checker::take() {
    if (more_ > 0) faults_.push_back("and " + std::to_string(more_) + " more");
    return std::move(faults_);
}

void checker::object(json_object* value, const std::string& path, const shape& expected) {
    if (!json_object_is_type(value, json_type_object)) {
        fault(path, std::string("an object is needed, not ") + type_name(value));
        return;
    }
    order(value, path, expected);
    const bool active = json_number(value, "status") == 1;
    for (std::size_t i = 0; i < expected.count; ++i) {
        const member_rule& rule = expected.members[i];
        const std::string place = path.empty() ? rule.name : path + "." + rule.name;
        json_object* found = nullptr;
        if (json_object_object_get_ex(value, rule.name, &found)) {
            const bool wants_active = rule.needed == presence::active || rule.needed == presence::maybe_active;
            if (wants_active && !active) fault(place, "is there although status is not 1");
            member(found, place, rule);
        } else if (rule.needed == presence::always || (rule.needed == presence::active && active)) {
            fault(place, "is missing");
        }
    }
    if (&expected == &radio_shape) radio(value, path);
}

void checker::order(json_object* value, const std::string& path, const shape& expected) {
    const member_rule* last = nullptr;
    json_object_object_foreach(value, name, ignored) {
        (void)ignored;
        const member_rule* rule = find(expected, name);
        if (!rule)
            fault(path, "unknown member \"" + printable(name, quote_limit) + "\"");
        else if (ordered_ && last && rule < last)
            fault(path, std::string("\"") + name + "\" stands behind \"" + last->name + "\" instead of before it");
        else
            last = rule;
    }
}

void checker::member(json_object* value, const std::string& path, const member_rule& rule) {
    const auto is = [&](json_type type) { return json_object_is_type(value, type) != 0; };
    const auto wrong = [&](const std::string& wanted) { fault(path, wanted + " is needed, not " + type_name(value)); };
    switch (rule.kind) {
        case member_kind::object:
            object(value, path, *rule.inner);
            return;
        case member_kind::list:
            list(value, path, *rule.inner);
            return;
        case member_kind::rounds:
            if (!is(json_type_array)) return wrong("an array");
            for (std::size_t i = 0; i < json_length(value); ++i) {
                const std::string place = path + "[" + std::to_string(i) + "]";
                json_object* round = json_element(value, i);
                list(round, place, *rule.inner);
                if (is(json_type_array) && json_object_is_type(round, json_type_array) && json_length(round) == 0)
                    fault(place, "a round that heard nothing leaves no array");
            }
            return;
        case member_kind::integer:
        case member_kind::flag:
        case member_kind::fixed:
        case member_kind::range:
        case member_kind::width: {
            if (!is(json_type_int)) return wrong("an integer");
            const std::int64_t number = json_object_get_int64(value);
            const std::string shown = ", not " + std::to_string(number);
            if (number < INT_MIN || number > INT_MAX) fault(path, "32 bits are needed" + shown);
            if (rule.kind == member_kind::flag && number != 0 && number != 1) fault(path, "0 or 1 is needed" + shown);
            if (rule.kind == member_kind::fixed && number != rule.value)
                fault(path, std::to_string(rule.value) + " is needed" + shown);
            if (rule.kind == member_kind::range && (number < rule.value || number > rule.high))
                fault(path, "a number from " + std::to_string(rule.value) + " to " + std::to_string(rule.high) +
                                " is needed" + shown);
            if (rule.kind == member_kind::width && number != 20 && number != 40 && number != 80)
                fault(path, "20, 40 or 80 is needed" + shown);
            return;
        }
        default:
            break;
    }
    if (!is(json_type_string)) return wrong("a string");
    const std::string text(json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value)));
    const std::string shown = ", not \"" + printable(text, quote_limit) + "\"";
    switch (rule.kind) {
        case member_kind::mac:
            if (!is_mac(text, true, false)) fault(path, "an address in upper case is needed" + shown);
            break;
        case member_kind::mac_lower:
            if (!is_mac(text, false, true)) fault(path, "an address in lower case is needed" + shown);
            break;
        case member_kind::mac_any:
            if (!is_mac(text, true, true)) fault(path, "an address is needed" + shown);
            break;
        case member_kind::fixed_text:
            if (text != rule.choices) fault(path, std::string("\"") + rule.choices + "\" is needed" + shown);
            break;
        case member_kind::one_of:
            if (!has_word(rule.choices, text))
                fault(path, std::string("one of ") + rule.choices + " is needed" + shown);
            break;
        case member_kind::channels:
            if (!is_channel_list(text))
                fault(path, "ascending channel numbers, each with one blank behind it, are needed" + shown);
            break;
        default:
            break;
    }
}

void checker::list(json_object* value, const std::string& path, const shape& inner) {
    if (!json_object_is_type(value, json_type_array)) {
        fault(path, std::string("an array is needed, not ") + type_name(value));
        return;
    }
    for (std::size_t i = 0; i < json_length(value); ++i)
        object(json_element(value, i), path + "[" + std::to_string(i) + "]", inner);
}

// What holds between the members of one radio.
void checker::radio(json_object* value, const std::string& path) {
    const auto number = [&](const char* key) { return json_number(value, key); };
    const auto must_be = [&](const char* key, int wanted, const char* when) {
        if (json_member(value, key) && number(key) != wanted)
            fault(path + "." + key,
                  std::to_string(wanted) + " is needed " + when + ", not " + std::to_string(number(key)));
    };
    const int id = number("id");
    if (id >= 0 && id < 16) must_be("mac-offset", id * 8, "for this id");
    must_be("band", number("channel") < 30 ? 2 : 5, "for this channel");
    if (!json_member(value, "status") || number("status") == 1) return;
    const char* const when = "while status is 0";
    for (const char* lock : {"locked-for-dca", "locked-for-tpc", "locked-for-80211v"})
        must_be(lock, 1, when);
    must_be("power", 16, when);
    must_be("power-max", 16, when);
    must_be("power-min", 11, when);
    must_be("channel", number("band") == 2 ? 1 : 36, when);
}

}  // namespace

bool is_agent_message(const std::string& cmd) { return find_message_rule(cmd.c_str()) != nullptr; }

bool needs_subscription(const std::string& cmd) {
    const message_rule* rule = find_message_rule(cmd.c_str());
    return rule && rule->needs_subscription;
}

std::vector<std::string> check_message(json_object* message) {
    checker c(true);
    if (!json_object_is_type(message, json_type_object)) {
        c.fault("", std::string("a message is an object, not ") + type_name(message));
        return c.take();
    }
    json_object* cmd = json_member(message, "cmd");
    const message_rule* rule =
        json_object_is_type(cmd, json_type_string) ? find_message_rule(json_object_get_string(cmd)) : nullptr;
    if (rule) {
        c.object(message, "", rule->members);
        return c.take();
    }
    if (cmd)
        c.fault("cmd", "\"" + printable(json_object_get_string(cmd), quote_limit) + "\" is no message of an agent");
    // Only the envelope can be judged.
    const json_ptr head(json_object_new_object());
    json_object_object_foreach(message, name, value) {
        if (find(envelope_shape, name)) json_object_object_add(head.get(), name, json_object_get(value));
    }
    c.object(head.get(), "", envelope_shape);
    return c.take();
}

std::vector<std::string> check_order_members(json_object* message) {
    checker c(false);
    const message_rule* rule = find_order_rule(json_text(message, "cmd").c_str());
    if (rule) c.object(message, "", rule->members);
    return c.take();
}

}  // namespace ravd::sim
