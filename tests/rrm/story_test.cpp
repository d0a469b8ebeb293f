// Device stories, told in stories/*.story line by line: what happens, and what the agent must have made of it. See
// stories/README.md for the words.
#include <glob.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>

#ifdef RAVD_HAVE_LAB_SERVICE
#include "sim/common/json.h"
#include "sim/service/protocol_check.h"
#endif
#include "tests/core/log_capture.h"
#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

// What the lab service holds against it; its check is held against the examples of docs/protocol.md.
std::string faults_of([[maybe_unused]] const std::string& message) {
    std::string all;
#ifdef RAVD_HAVE_LAB_SERVICE
    const sim::json_ptr root = sim::parse_json(message, all);
    if (sim::is_agent_message(sim::json_text(root.get(), "cmd")))
        for (const std::string& fault : sim::check_message(root.get()))
            all += fault + "\n";
#endif
    return all;
}

class story : public agent, public ::testing::WithParamInterface<std::string> {
  protected:
    using text = const std::string&;
    using fields = std::istringstream&;

    // The first word of a line, and what follows its blank.
    static std::string head(text line) { return line.substr(0, line.find(' ')); }
    static std::string tail(text line) { return line.substr(std::min(line.size(), head(line).size() + 1)); }

    template <typename T>
    static T next(fields in) {
        T value{};
        in >> std::setbase(0) >> value;
        return value;
    }

    // Names of the agent's timers, by id.
    static timer_id next_timer(fields in) {
        const char* const names[] = {"launch", "round",   "subscribe", "response", "probes",
                                     "config", "blocked", "refill",    "orders"};
        const std::string name = next<std::string>(in);
        const auto at = std::find(std::begin(names), std::end(names), name);
        EXPECT_NE(at, std::end(names)) << name;
        return static_cast<timer_id>(at - std::begin(names));
    }

    std::map<std::string, std::string> names;
    std::optional<log_capture> log;
    rrm_sta_s roamer;

    const std::map<std::string, std::function<void(text, fields)>> words{
        // What happens.
        {"service", [this](text json, fields) { service(swap_quotes(json)); }},
        {"bus", [this](text json, fields) { from(from_bus, swap_quotes(json)); }},
        {"subscribed", [this](text config, fields) { subscribe(swap_quotes(config)); }},
        {"order", [this](text line, fields) { command(head(line), "," + swap_quotes(tail(line))); }},
        {"pass", [this](text line, fields in) { line.empty() ? turn() : pass(next<int>(in)); }},
        {"restart", [this](text, fields) { restart(); }},
        {"notify", [this](text name, fields) { notify("_" + name); }},
        {"conf", [](text line, fields) { fake_bus::get().configuration[head(line)] = tail(line); }},
        {"listen",
         [this](text level, fields) {
             const std::map<std::string, std::uint32_t> masks{{"error", 1}, {"warning", 3}, {"info", 7}, {"debug", 15}};
             log.emplace(masks.at(level));
         }},
        {"incomplete", [this](text, fields in) { driver.incomplete = next<bool>(in); }},
        {"drop", [this](text, fields) { sent(), driver.take_calls(); }},
        {"arm",
         [this](text, fields in) {
             for (const int seconds = next<int>(in); in >> std::ws && !in.eof();) {
                 const timer_id id = next_timer(in);
                 const auto due = [this, id] {
                     if (id == timer_rrm_response) worker->scans().rrm_response_due();
                 };
                 worker->add_timer(due, id, seconds);
             }
         }},
        {"hostapd",
         [this](text what, fields) {
             if (what == "starts") return start_hostapd();
             what == "appears" ? system.write_file(pid_file) : system.remove_file(pid_file);
             turn();
         }},
        {"radio",
         [this](text, fields in) {
             auto& radio = driver.at(next<int>(in));
             const std::string name = next<std::string>(in);
             const int value = next<int>(in);
             for (auto& [flag, field] : {std::pair{"up", &radio.up}, {"wds", &radio.wds}, {"coex", &radio.coex}})
                 if (name == flag) *field = value != 0;
             if (name == "power") radio.power = value;
             if (name == "chanspec") radio.chanspec = static_cast<std::uint32_t>(value);
             if (name == "configured") radio.configured = static_cast<std::uint32_t>(value);
         }},
        {"vap",
         [this](text, fields in) {
             const int radio = next<int>(in);
             auto& vap = driver.vap_at(radio, next<int>(in));
             vap.active = static_cast<bool>(in >> vap.ssid >> vap.mac >> vap.kv >> vap.ft);
         }},
        {"station",
         [this](text, fields in) {
             const int radio = next<int>(in);
             const std::string mac = next<std::string>(in);
             const int rssi = next<int>(in), attempts = next<int>(in);
             driver.add_station(radio, mac.c_str(), rssi, attempts, next<bool>(in));
         }},
        {"hears",
         [this](text, fields in) {
             auto& table = driver.heard.emplace_back();
             unsigned last;
             for (scan_record b{}; in >> last >> b.rssi >> b.channel >> b.bandwidth >> b.tx_power >> b.sideband;) {
                 b.bssid = {2, 0, 0, 0, 0xAB, static_cast<std::uint8_t>(last)};
                 table.push_back(b);
             }
         }},
        {"event",
         [this](text, fields in) {
             auto& event = driver.events.emplace_back(driver_event_desc{0, 0, &roamer});
             in >> event.type >> event.radio >> roamer.mac >> roamer.ssid >> roamer.target_mac;
         }},
        {"repeat",
         [this](text, fields in) {
             std::string& name = names[next<std::string>(in)] = "";
             const int count = next<int>(in);
             const std::string piece = next<std::string>(in);
             for (int i = 0; i < count; ++i)
                 name += piece;
         }},
        // What must have come of it.
        {"sends",
         [this](text line, fields) {
             const std::string start =
                 swap_quotes(rrm + head(line) + "','ap-mac':'02:00:00:00:00:10','domain':'home',");
             std::string first;
             to_service.pop([&](const auto& message) { first = message->data; });
             EXPECT_EQ(line.empty() || line[0] == '{' ? "" : faults_of(first), "");
             EXPECT_EQ(first, line.empty() || line[0] == '{' ? line : start + tail(line) + "}");
         }},
        {"names", [this](text all, fields) { EXPECT_EQ(sent_names(), all.empty() ? all : all + " "); }},
        {"calls", [this](text all, fields) { EXPECT_EQ(driver.take_calls(), all); }},
        {"logs", [this](text line, fields) { EXPECT_EQ(log->count(line + "\n"), 1) << log->text(); }},
        {"logs-part", [this](text piece, fields) { EXPECT_EQ(log->count(piece), 1) << log->text(); }},
        {"logs-twice", [this](text piece, fields) { EXPECT_EQ(log->count(piece), 2) << log->text(); }},
        {"quiet", [this](text, fields) { EXPECT_EQ(log->text(), ""); }},
        {"marker", [this](text there, fields) { EXPECT_EQ(system.has_file(marker), there == "1"); }},
        {"syslog",
         [this](text line, fields) {
             EXPECT_EQ(system.system_log, (decltype(system.system_log){{6, line}}));
             system.system_log.clear();
         }},
        {"due",
         [this](text line, fields in) {
             const timer_id first = line.empty() ? timer_launch_scan : next_timer(in);
             const std::vector<long long> wanted(std::istream_iterator<long long>(in), {});
             for (int id = first; id == first || (line.empty() && id < timer_count); ++id)
                 EXPECT_EQ(due(id), wanted) << id;
         }},
        {"state",
         [this](text flags, fields) {
             EXPECT_EQ(flags, std::to_string(subscribing()) + " " + std::to_string(subscribed()));
             EXPECT_EQ(system.has_file(marker), subscribed());
         }},
    };
};

TEST_P(story, told) {
    const std::string path = std::string(RAVD_SOURCE_DIR "/tests/rrm/stories/") + GetParam() + ".story";
    std::ifstream file(path);
    ASSERT_TRUE(file) << path;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        SCOPED_TRACE(path + ":" + std::to_string(++number));
        // $name stands for its text.
        for (std::size_t at = line.find('$'); at != std::string::npos; at = line.find('$', at + 1)) {
            std::size_t end = at + 1;
            while (std::isalnum(static_cast<unsigned char>(line[end])))
                ++end;
            const auto name = names.find(line.substr(at + 1, end - at - 1));
            ASSERT_NE(name, names.end()) << line;
            line.replace(at, end - at, name->second);
        }
        const std::string word = head(line), rest = tail(line);
        std::istringstream in(rest);
        if (word.empty() || word[0] == '#') continue;
        if (rest.rfind("= ", 0) == 0) {
            names[word] = rest.substr(2);
        } else {
            ASSERT_EQ(words.count(word), 1u) << line;
            words.at(word)(rest, in);
        }
    }
}

// Every file there is.
std::vector<std::string> stories() {
    std::vector<std::string> names;
    glob_t found{};
    glob(RAVD_SOURCE_DIR "/tests/rrm/stories/*.story", 0, nullptr, &found);
    for (std::size_t i = 0; i < found.gl_pathc; ++i) {
        const std::string file = std::strrchr(found.gl_pathv[i], '/') + 1;
        names.push_back(file.substr(0, file.find('.')));
    }
    globfree(&found);
    return names;
}

INSTANTIATE_TEST_SUITE_P(agent, story, ::testing::ValuesIn(stories()));

}  // namespace
}  // namespace ravd::testing
