// What the console makes of a log: the same from a running service as from a file, whatever stands in it.
#include <gtest/gtest.h>

#include <fstream>

#include "sim/console/frames.h"
#include "sim/console/log_file.h"
#include "sim/console/memory_entries.h"
#include "sim/console/page_state.h"

namespace ravd::sim {
namespace {

std::string radio(int id, const char* mac, const char* more = "") {
    return R"({"id":)" + std::to_string(id) +
           R"(,"status":1,"locked-for-dca":0,"power":16,"power-max":20,"power-min":8,)" +
           (id == 0 ? R"("channel":6,"band":2,)" : R"("channel":36,"band":5,)") +
           R"("bandwidth":20,"primary-channel":"none","available-channels":"1 6 36 ","vaps":[{"id":0,"ssid":"<b>",)" +
           R"("mac":")" + mac + R"("}])" + more + "}";
}

// Two access points that hear each other, from connecting to the end, and a third that only breaks the protocol.
struct step {
    unsigned agent;
    const char* direction;  // null: an event
    std::string text;
};

std::vector<step> story() {
    const std::string clients = R"(,"assoclist":[{"mac":"02:00:00:00:00:01","ssid":"<b>","rssi":-58}])";
    const std::string a = radio(0, "00:00:00:00:0A:01", clients.c_str()) + "," + radio(1, "00:00:00:00:0a:11");
    const std::string b = radio(0, "00:00:00:00:0b:01");
    const std::string success = R"({"cmd":"subscribe-response","status":"success","config":{"use-dca":1}})";
    return {
        {1, nullptr, "connected from 10.0.0.1:5 websock-rrm /path with blanks"},
        {1, "received", R"({"cmd":"subscribe-request","domain":"lab","radios":[)" + a + "]}"},
        {1, "sent", success},
        {2, nullptr, "connected from 10.0.0.2:5 websock-rrm /"},
        {2, "received", R"({"cmd":"subscribe-request","radios":[)" + b + "]}"},
        {2, "sent", success},
        {1, "sent", R"({"cmd":"rrm-update","rrm-scan-channels":"1 36","rrm-scan-delay":7})"},
        {1, "received",
         R"({"cmd":"rrm-response","radios":[)" + a + R"(],"rf-environment":[[)" +
             R"({"bssid":"00:00:00:00:0b:01","rssi":-50,"channel":6,"primary-channel":"none","bandwidth":20},)" +
             R"({"bssid":"66:00:00:00:00:01","rssi":-70,"channel":36,"primary-channel":"ll","bandwidth":80},)" +
             R"({"bssid":"no address","rssi":-70,"channel":36,"bandwidth":80}],[)" +
             R"({"bssid":"00:00:00:00:0b:01","rssi":-45,"channel":6,"bandwidth":20}]]})"},
        {1, "sent",
         R"({"cmd":"rrm-info","radios":[{"id":0,"channel":1}],"802dot11k":[{"neighbour-mac":"x","channel":6}]})"},
        {1, "sent", R"({"cmd":"rrm-info","radios":[{"id":0,"power":12}],"use-tpc":1})"},
        {3, nullptr, "connected from 10.0.0.3:5 websock-roaming /"},
        {3, "received", std::string("\xff\x00 no text", 10)},
        {3, nullptr, "violation: not JSON"},
        {1, "received", R"({"cmd":"rrm-client-disassoc","sta-mac":"02:00:00:00:00:01"})"},
        {2, nullptr, "closed by the agent with code 1001"},
    };
}

// Takes what the service logs, as its console does.
struct console_of_service : log_listener {
    domain_model domain;
    memory_entries entries{100, 1u << 20};
    std::vector<std::string> after;  // what the page is told of every agent, entry by entry

    void logged(const log_entry& entry) override {
        const domain_model::change change = domain.apply(entry, entries.next());
        if (change.of != 0) entries.mark(change.of);
        entries.add(make_head(entry, entries.next(), change.of), std::string(entry.line));
        after.push_back(told(domain));
    }
    static std::string told(const domain_model& domain) {
        std::string all;
        for (const auto& entry : domain.agents()) {
            all += json_compact(agent_frame(*entry.second, {}).get()) + "\n";
            if (entry.second->report) all += json_compact(report_frame(*entry.second, domain).get()) + "\n";
        }
        return all;
    }
};

class ConsoleModel : public testing::Test {
  protected:
    void SetUp() override {
        path = testing::TempDir() + "ravd-console-" + std::to_string(getpid()) + ".jsonl";
        message_log log;
        std::string error;
        ASSERT_TRUE(log.open(path, error)) << error;
        log.tell(&live);
        for (const step& one : story()) {
            const std::string mac = one.agent == 3 ? "" : "00:00:00:00:00:0" + std::to_string(one.agent);
            const json_ptr message = parse_json(one.text, error);
            if (one.direction)
                log.message(one.agent, mac, one.direction, one.text, message.get());
            else
                log.event(one.agent, mac, one.text);
        }
    }
    void TearDown() override { std::remove(path.c_str()); }

    json_ptr ask(const char* type, const std::string& members) {
        const load_history loads(1);
        const client_history clients(1);
        std::string error;
        const json_ptr request = parse_json("{" + members + "}", error);
        return answer_query({live.domain, live.entries, loads, clients, 0}, type, request.get(), error);
    }

    std::string path;
    console_of_service live;
};

TEST_F(ConsoleModel, TellsWhatTheAgentsAreAndHear) {
    const agent_record& first = *live.domain.find(1);
    EXPECT_EQ(first.path, "/path with blanks");
    EXPECT_TRUE(first.subscribed);
    EXPECT_TRUE(first.radios[0].stations.empty());
    EXPECT_EQ(first.report->rounds, 2U);
    ASSERT_EQ(first.report->heard.size(), 2U);
    EXPECT_EQ(first.report->heard[0].rssi, -45);
    EXPECT_EQ(first.report->heard[0].rounds, 2);
    EXPECT_FALSE(first.scan.current());
    // Each order's last value, but the neighbours of the last order alone.
    EXPECT_EQ(first.ordered.radios.at(0).channel, 1);
    EXPECT_EQ(first.ordered.radios.at(0).power, 12);
    EXPECT_EQ(first.ordered.use_dca + first.ordered.use_tpc, 2);
    EXPECT_FALSE(first.ordered.neighbours);
    EXPECT_NE(live.after[6].find(R"("scan":{)"), std::string::npos);
    EXPECT_NE(live.after[7].find(R"("hears":[[2,0,-45]])"), std::string::npos) << live.after[7];
    EXPECT_NE(live.after[8].find(R"("neighbours":[{"mac":"x","channel":6)"), std::string::npos);
    // One that is gone is nobody's any more.
    EXPECT_FALSE(live.domain.find(2)->here());
    EXPECT_EQ(live.after.back().find(R"("hears":[[)"), std::string::npos);
    const std::string air = json_compact(ask("air", R"("band":5)").get());
    EXPECT_NE(air.find(R"("bssid":"66:00:00:00:00:01","rssi":-70)"), std::string::npos) << air;
    EXPECT_NE(air.find(R"("owner":1,"radio":1)"), std::string::npos) << air;
}

TEST_F(ConsoleModel, FindsEntries) {
    const auto seqs = [&](const std::string& members) {
        const json_ptr reply = ask("entries", members);
        std::string text;
        for (std::size_t i = 0; i < json_length(json_member(reply.get(), "entries")); ++i)
            text += std::to_string(json_number(json_element(json_member(reply.get(), "entries"), i), "seq")) + " ";
        return text + (json_object_get_boolean(json_member(reply.get(), "more")) ? "more" : "");
    };
    EXPECT_EQ(seqs(R"("limit":2)"), "15 14 more");
    EXPECT_EQ(seqs(R"("agent":2)"), "15 6 5 4 ");
    EXPECT_EQ(seqs(R"("cmd":"rrm-info","before":10)"), "9 ");
    EXPECT_EQ(seqs(R"("direction":"event","text":"10.0.0.3")"), "11 ");
    EXPECT_EQ(seqs(R"("violations":true)"), "13 12 ");
    EXPECT_EQ(json_text(json_member(ask("entry", R"("seq":12)").get(), "line"), "hex").substr(0, 6), "ff0020");
    memory_entries few(3, 1000);
    for (int i = 0; i < 10; ++i)
        few.add({}, std::string(400, 'x'));
    EXPECT_EQ(few.first(), 9U);
    EXPECT_EQ(few.next(), 11U);
}

TEST_F(ConsoleModel, ReadsItsOwnLogBack) {
    log_file log;
    std::string error;
    ASSERT_TRUE(log.open(path, error)) << error;
    domain_model domain;
    std::vector<domain_model::agents_map> moments = {domain.agents()};
    parsed_line line;
    for (std::size_t i = 0; log.read_next(line); ++i) {
        log.set_violation(domain.apply(line.entry, log.count()).of);
        ASSERT_EQ(console_of_service::told(domain), live.after.at(i)) << i;
        moments.push_back(domain.agents());
    }
    EXPECT_EQ(log.count(), live.after.size());
    // Back at any moment it is as it was, and goes the same way from there.
    for (std::size_t from = moments.size(); from-- > 1;) {
        domain.restore(moments[from]);
        EXPECT_EQ(console_of_service::told(domain), live.after[from - 1]);
        for (std::size_t i = from; i < live.after.size(); ++i) {
            ASSERT_TRUE(log.read(i + 1, line));
            domain.apply(line.entry, i + 1);
        }
        EXPECT_EQ(console_of_service::told(domain), live.after.back());
    }
    log.show(log.count());
    entry_head mine;
    entry_head theirs;
    for (std::uint64_t seq = 1; seq < log.next(); ++seq) {
        ASSERT_TRUE(log.head(seq, mine) && live.entries.head(seq, theirs));
        EXPECT_EQ(json_compact(entry_object(mine).get()), json_compact(entry_object(theirs).get()));
    }
}

TEST_F(ConsoleModel, PassesOverWhatIsNoLine) {
    {
        std::ofstream file(path, std::ios::app);
        const std::string time = R"({"time":"2026-03-01T12:00:00.123Z",)";
        file << "\n{}\n[]\nnull\n\"x\"\n" << std::string(5000, '[') << "\n" << std::string(3, '\0') << "\n";
        file << R"({"time":"yesterday","agent":1,"event":"closed"})"
             << "\n"
             << time << R"("agent":-1,"event":"x"})"
             << "\n";
        file << time << R"("agent":1,"direction":"sideways","message":{}})"
             << "\n";
        file << time << R"("agent":1,"direction":"received","hex":"zz"})"
             << "\n";
        // Lines, but strange ones; the clock does not go back.
        file << time << R"("agent":4000000000,"event":"closed"})"
             << "\n";
        file << time
             << R"("agent":9,"direction":"received","size":-5,"message":{"cmd":"rrm-response","radios":[[],7,{}],)"
             << R"("rf-environment":{"a":[]}}})"
             << "\n";
        file << time << R"("agent":9,"direction":"sent","message":[{"cmd":"rrm-info"}]})"
             << "\n";
        file << time << R"("agent":9,"event":"violation: x"})";  // without a line end
    }
    log_file log;
    std::string error;
    ASSERT_TRUE(log.open(path, error)) << error;
    domain_model domain;
    parsed_line line;
    while (log.read_next(line))
        log.set_violation(domain.apply(line.entry, log.count()).of);
    EXPECT_EQ(log.count(), live.after.size() + 3);
    EXPECT_GE(log.time_of(log.count()), log.time_of(1));
    EXPECT_EQ(log.count_until(log.time_of(log.count())), log.count());
    EXPECT_EQ(log.count_until(0), 0U);
    EXPECT_NE(console_of_service::told(domain).find(R"("id":9)"), std::string::npos);
}

TEST(LoadHistory, MeansPerSlotAndChannelOfWhatIsKept) {
    load_history history(3);
    const auto add = [&](unsigned agent, std::int64_t time, std::vector<std::pair<int, double>> loads) {
        scan_report report;
        report.time_ms = time;
        for (const auto& [channel, load] : loads)
            report.load.push_back({channel, load, 0, 0, false});
        history.add(agent, report);
    };
    add(1, 0, {{1, 9}});  // makes room
    add(1, 1000, {{1, 1}, {36, 4}});
    add(2, 1400, {{1, 3}});
    add(1, 2000, {{6, 5}});
    EXPECT_EQ(history.begin_ms(), 1000);
    const load_history::grid all = history.over(0, 0, 1000, 2000, 2);
    EXPECT_EQ(all.channels, (std::vector<int>{1, 6, 36}));
    EXPECT_EQ(all.load, (std::vector<std::vector<double>>{{2, -1, 4}, {-1, 5, -1}}));
    EXPECT_EQ(history.over(2, 2, 1000, 2000, 1).load, (std::vector<std::vector<double>>{{3}}));
    EXPECT_EQ(history.over(1, 5, 0, 0, 1).channels.size(), 0U);
}

}  // namespace
}  // namespace ravd::sim
