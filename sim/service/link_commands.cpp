#include <algorithm>

#include "sim/service/command_table.h"
#include "sim/service/presentation.h"
#include "tools/common/number.h"

namespace ravd::sim {
namespace {

using kind = outgoing::kind;

bool do_text(const command_call& c) {
    std::string error;
    const json_ptr message = parse_json(c.line.rest, error);  // it may be anything
    return c.send({kind::text, c.line.rest}, c.line.rest, message.get());
}
bool do_binary(const command_call& c) {
    std::string bytes;
    if (!parse_hex(c.line.rest, bytes)) return c.fail("binary takes hexadecimal digits in pairs");
    return c.send({kind::binary, bytes}, "binary frame of " + std::to_string(bytes.size()) + " bytes");
}
bool do_raw(const command_call& c) {
    std::string bytes;
    if (!parse_hex(c.line.rest, bytes)) return c.fail("raw takes hexadecimal digits in pairs");
    return c.send({kind::raw, bytes}, std::to_string(bytes.size()) + " bytes on the socket");
}
bool do_fragments(const command_call& c) {
    const std::string& rest = c.line.rest;
    const std::size_t blank = std::min(rest.find(' '), rest.size());
    int count = 0;
    if (!parse_int(rest.substr(0, blank), count) || count < 1 || count > 100000)
        return c.fail("fragments takes a number from 1 to 100000 and a text");
    const std::string text = blank < rest.size() ? rest.substr(blank + 1) : "";
    const auto pieces = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < pieces; ++i) {
        const std::size_t from = text.size() * i / pieces;
        const std::size_t to = text.size() * (i + 1) / pieces;
        const kind what = pieces == 1 ? kind::text : i == 0 ? kind::first : i + 1 == pieces ? kind::last : kind::middle;
        if (!c.send({what, text.substr(from, to - from)}, i == 0 ? rest + " (in fragments)" : "")) return false;
    }
    return true;
}
bool do_ping(const command_call& c) { return c.send({kind::ping, c.word(0).substr(0, 125)}, "ping"); }
bool do_close(const command_call& c) {
    outgoing item;
    item.what = kind::close;
    int code = 0;
    if (!c.number(0, 0, 65535, 1000, code)) return false;
    item.close_code = static_cast<unsigned>(code);
    item.bytes = c.word(1);
    return c.send(std::move(item), "close frame with code " + std::to_string(code));
}
bool do_drop(const command_call& c) {
    return c.service.links().drop(c.who->number) || c.fail(c.who->name() + ": the link is gone");
}
bool do_mute(const command_call& c) { return c.service.links().set_mute(c.who->number, true); }
bool do_unmute(const command_call& c) { return c.service.links().set_mute(c.who->number, false); }
bool do_stop_reading(const command_call& c) { return c.service.links().set_reading(c.who->number, false); }
bool do_resume(const command_call& c) {
    c.service.links().set_mute(c.who->number, false);
    return c.service.links().set_reading(c.who->number, true);
}

bool do_send_many(const command_call& c) {
    int count = 0;
    int size = 0;
    if (!c.number(0, 1, 1000000, 1, count) || !c.number(1, 0, 16 << 20, 0, size)) return false;
    for (int i = 0; i < count; ++i) {
        const json_ptr message = new_json_object();
        json_put(message.get(), "version", "2.4");
        json_put(message.get(), "service", "bench");
        json_put(message.get(), "number", i);
        json_put(message.get(), "fill", "");
        std::string text = json_compact(message.get());
        const auto wanted = static_cast<std::size_t>(size);
        if (text.size() < wanted) text.insert(text.size() - 2, wanted - text.size(), 'x');
        if (!c.send({kind::text, text}, ""))
            return c.fail("only " + std::to_string(i) + " of " + std::to_string(count) + " fit into the output limit");
    }
    return true;
}

bool do_stats(const command_call& c) {
    link_statistics s;
    if (!c.service.links().statistics(c.who->number, s)) return c.fail(c.who->name() + ": the link is gone");
    c.add(c.who->name() + ": in " + std::to_string(s.messages_in) + " messages " + std::to_string(s.payload_in) +
          " bytes, out " + std::to_string(s.messages_out) + " messages " + std::to_string(s.payload_out) +
          " bytes, queued " + std::to_string(s.queued) + ", wire in " + std::to_string(s.wire_in) + " out " +
          std::to_string(s.wire_out) + ", pings " + std::to_string(s.pings) + ", pongs " + std::to_string(s.pongs) +
          (s.mute ? ", mute" : "") + (s.reading ? "" : ", not reading") + ", violations " +
          std::to_string(c.who->violations));
    for (const auto& entry : c.who->received)
        c.add("  " + entry.first + " " + std::to_string(entry.second));
    return true;
}

bool do_show(const command_call& c) {
    const std::string what = c.word(0);
    const bool all = what.empty();
    if (!all && what != "radios" && what != "neighbours" && what != "clients" && what != "chart")
        return c.fail("show takes radios, neighbours, clients or chart");
    c.add(c.who->name());
    if (all || what == "radios") c.add(radio_table(c.who->radios));
    if (all || what == "neighbours") c.add(environment_table(c.who->environment));
    if (all || what == "clients") c.add(client_table(c.who->radios));
    if (all || what == "chart") c.add(occupancy_chart(c.who->radios, c.who->environment));
    return true;
}

}  // namespace

const std::vector<command>& link_commands() {
    static const std::vector<command> table = {
        {"text", "TEXT", "one text message, as typed; a line that begins with { or [ means the same", true, do_text},
        {"binary", "HEX", "one binary message", true, do_binary},
        {"fragments", "N TEXT", "one text message in N fragments", true, do_fragments},
        {"raw", "HEX", "bytes on the socket, between two frames", true, do_raw},
        {"ping", "[TEXT]", "a websocket ping", true, do_ping},
        {"close", "[CODE [REASON]]", "a close frame, and the end of the connection", true, do_close},
        {"drop", "", "a reset of the connection", true, do_drop},
        {"mute", "", "stop answering pings; messages still pass", true, do_mute},
        {"unmute", "", "answer pings again", true, do_unmute},
        {"stop-reading", "", "read nothing from the agent any more", true, do_stop_reading},
        {"resume", "", "read again and answer pings again", true, do_resume},
        {"send-many", "N SIZE", "N numbered messages of SIZE bytes", true, do_send_many},
        {"stats", "", "counts of the link and of the messages received", true, do_stats},
        {"show", "[radios|neighbours|clients|chart]", "what the agent reported last", true, do_show},
    };
    return table;
}

}  // namespace ravd::sim
