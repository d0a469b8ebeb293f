#include "sim/console/command_list.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "sim/service/command_table.h"

namespace ravd::sim {
namespace {

struct argument_row {
    const char* command;
    const char* name;
    const char* kind;
    int min = 0;
    int max = 0;                    // no bounds when not above `min`
    const char* choices = nullptr;  // separated by blanks
    bool required = false;
    bool position = false;
    const char* group = nullptr;  // repeats together with the others of the name
    const char* help = nullptr;
};

constexpr int channel_max = 233;
constexpr int long_time = 1000000;

const argument_row rows[] = {
    {"scan", "channels", "channels", 1, channel_max, nullptr, false, false, nullptr,
     "a band without any is scanned whole; none at all: everything"},
    {"scan", "delay", "number", 0, long_time, nullptr, false, false, nullptr, "seconds before it begins"},
    {"rrm-scan", "channels", "channels", 1, channel_max, nullptr, true, true, nullptr, "the lowest of each band"},
    {"rrm-scan", "delay", "number", 0, long_time, nullptr, false, false, nullptr, "seconds before and behind it"},
    {"config", "radio", "number", 0, 15, nullptr, false, false, "radio", nullptr},
    {"config", "channel", "number", 1, channel_max, nullptr, false, false, "radio", nullptr},
    {"config", "bandwidth", "choice", 0, 0, "20 40 80", false, false, "radio", "MHz"},
    {"config", "primary", "choice", 0, 0, "none lower upper", false, false, "radio", "at 40 MHz"},
    {"config", "power", "number", 1, 100, nullptr, false, false, "radio", "dBm"},
    {"config", "roam-timeout", "number", 0, long_time, nullptr, false, false, "radio", nullptr},
    {"config", "use-dca", "choice", 0, 0, "0 1", false, false, nullptr, "the service chooses channels"},
    {"config", "use-tpc", "choice", 0, 0, "0 1", false, false, nullptr, "the service chooses powers"},
    {"config", "use-80211v", "choice", 0, 0, "0 1", false, false, nullptr, "clients are told of and steered"},
    {"config", "use-80211r", "choice", 0, 0, "0 1", false, false, nullptr, "fast transition"},
    {"config", "neighbours", "json", 0, 0, nullptr, false, false, nullptr,
     "the 802.11k list; without it the list ends"},
    {"neighbours", "list", "json", 0, 0, nullptr, true, true, nullptr,
     "array of neighbour-mac, channel, priority, vaps (ssid, mac)"},
    {"overload", "radio", "number", 0, 15, nullptr, true, false, "radio", nullptr},
    {"overload", "count", "number", 0, 10000, nullptr, true, false, "radio", "clients that shall leave"},
    {"overload", "neighbours", "json", 0, 0, nullptr, false, false, nullptr, "where to"},
    {"fbt", "members", "json", 0, 0, nullptr, true, true, nullptr, "the members of fbt-info"},
    {"subscribe-response", "code", "number", -long_time, long_time, nullptr, false, false, nullptr,
     "0: success; 503 makes the agent ask again"},
    {"subscribe-response", "domain", "text"},
    {"subscribe-response", "config", "json"},
    {"old-version", "version", "text", 0, 0, nullptr, false, true, nullptr, "2.3"},
    {"order", "name", "text", 0, 0, nullptr, true, true, nullptr, "of the message"},
    {"order", "members", "json", 0, 0, nullptr, false, true, nullptr, nullptr},
    {"text", "text", "text", 0, 0, nullptr, true, true, nullptr, nullptr},
    {"binary", "bytes", "hex", 0, 0, nullptr, true, true, nullptr, nullptr},
    {"raw", "bytes", "hex", 0, 0, nullptr, true, true, nullptr, nullptr},
    {"fragments", "count", "number", 1, 100000, nullptr, true, true, nullptr, nullptr},
    {"fragments", "text", "text", 0, 0, nullptr, true, true, nullptr, nullptr},
    {"ping", "text", "text", 0, 0, nullptr, false, true, nullptr, nullptr},
    {"close", "code", "number", 0, 65535, nullptr, false, true, nullptr, nullptr},
    {"close", "reason", "text", 0, 0, nullptr, false, true, nullptr, nullptr},
    {"send-many", "count", "number", 1, 100000, nullptr, true, true, nullptr, nullptr},
    {"send-many", "size", "number", 0, 1 << 20, nullptr, false, true, nullptr, "bytes"},
    {"show", "what", "choice", 0, 0, "radios neighbours clients chart", false, true, nullptr, nullptr},
    {"refuse", "code", "number", -long_time, long_time, nullptr, false, true, nullptr, "503"},
    {"refuse", "how-long", "choice", 0, 0, "always", false, true, nullptr, nullptr},
    {"domain", "name", "text", 0, 0, nullptr, false, true, nullptr, nullptr},
    {"plan", "step", "choice", 0, 0, "propose scan apply undo status neighbours balance json", false, true, nullptr,
     "propose"},
    {"plan", "max-changes", "number", 0, 100000, nullptr, false, false, nullptr, "0: as many as are worth it"},
    {"plan", "width", "text", 0, 0, nullptr, false, false, nullptr, "MHz: any, keep, or one, as in 40"},
    {"plan", "min-gain", "text", 0, 0, nullptr, false, false, nullptr, "what a change has to gain"},
    {"config-object", "members", "json", 0, 0, nullptr, false, true, nullptr, nullptr},
};

json_ptr choices_of(const char* words) {
    json_ptr list = new_json_array();
    while (*words) {
        const std::size_t length = std::strcspn(words, " ");
        json_append(list.get(), json_ptr(json_object_new_string_len(words, static_cast<int>(length))));
        words += length + (words[length] ? 1 : 0);
    }
    return list;
}

json_ptr argument_of(const argument_row& row) {
    json_ptr one = new_json_object();
    json_put(one.get(), "name", row.name);
    json_put(one.get(), "kind", row.kind);
    if (row.max > row.min) {
        json_put(one.get(), "min", row.min);
        json_put(one.get(), "max", row.max);
    }
    if (row.choices) json_put(one.get(), "choices", choices_of(row.choices));
    if (row.help) json_put(one.get(), "help", row.help);
    if (row.required) json_put_flag(one.get(), "required", true);
    if (row.position) json_put_flag(one.get(), "position", true);
    if (row.group) json_put(one.get(), "group", row.group);
    return one;
}

json_ptr entry(const char* word, const char* usage, const char* help, const char* group, bool agent) {
    json_ptr one = new_json_object();
    json_put(one.get(), "word", word);
    json_put(one.get(), "usage", usage);
    json_put(one.get(), "help", help);
    json_put(one.get(), "group", group);
    json_put_flag(one.get(), "agent", agent);
    json_ptr arguments = new_json_array();
    for (const argument_row& row : rows)
        if (std::strcmp(row.command, word) == 0) json_append(arguments.get(), argument_of(row));
    json_put(one.get(), "arguments", std::move(arguments));
    return one;
}

}  // namespace

bool page_may(const std::string& word) { return word != "wait" && word != "sleep" && word != "quit"; }

json_ptr command_list() {
    json_ptr list = new_json_array();
    for (const order& o : order_table())
        json_append(list.get(), entry(o.word, o.usage, o.help, "order", true));
    for (const command& one : link_commands())
        json_append(list.get(), entry(one.word, one.usage, one.help, "link", true));
    for (const command& one : service_commands())
        if (page_may(one.word)) json_append(list.get(), entry(one.word, one.usage, one.help, "service", false));
    return list;
}

}  // namespace ravd::sim
