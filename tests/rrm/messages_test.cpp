// Every message of the protocol: what an order makes the driver do, and what goes to the service, as whole texts.
#include "tests/core/log_capture.h"
#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

using messages = agent;

std::string envelope(const std::string& cmd) {
    return R"({"version":"2.4","service":"rrm","cmd":")" + cmd + R"(","ap-mac":"02:00:00:00:00:10","domain":"home",)";
}
const std::string factory_object =
    R"("factory":{"board":"board-1","hw":"hw-2","serial":"77777777777777777777777777777777","mac":"02:00:00:00:00:10"})";
const std::string idle_radio_1 =
    R"({"id":1,"status":0,"mac-offset":8,"radio-mac-count":8,"locked-for-dca":1,"locked-for-tpc":1,)"
    R"("locked-for-balancer":1,"locked-for-80211v":1,"power":16,"power-max":16,"power-min":11,"channel":36,"band":5,)"
    R"("bandwidth":80,"primary-channel":"none"})";

TEST_F(messages, radio_descriptions) {
    driver.at(1).up = false;
    driver.at(0).power = 14;
    driver.at(0).vaps[3] = {"a\"b/\xFF", "02:00:00:00:00:14", true, true, false};
    driver.add_station(0, "0A:00:00:00:00:01", -1000);
    driver.add_station(0, "0A:00:00:00:00:02", -61);
    fake_bus::get().configuration = {{"/corvane/dca", "true"}, {"/corvane/tpc", "TRUE"}};
    const std::string vaps =
        R"("available-channels":"1 6 11 ","vaps":[)"
        R"({"id":1,"ssid":"guest","mac":"02:00:00:00:00:12","802dot11k":0,"802dot11r":1},)"
        "{\"id\":3,\"ssid\":\"a\\\"b\\/\xEF\xBF\xBD\",\"mac\":\"02:00:00:00:00:14\",\"802dot11k\":1,\"802dot11r\":0}]";
    const std::string clients = R"(,"assoclist":[{"mac":"0A:00:00:00:00:01","ssid":"guest","rssi":0},)"
                                R"({"mac":"0A:00:00:00:00:02","ssid":"guest","rssi":-61}])";
    const auto radio_0 = [&](const std::string& locks, const std::string& channel, const std::string& list) {
        return R"({"id":0,"status":1,"mac-offset":0,"radio-mac-count":8,"locked-for-dca":)" + locks.substr(0, 1) +
               R"(,"locked-for-tpc":)" + locks.substr(1, 1) + R"(,"locked-for-balancer":1,"locked-for-80211v":)" +
               locks.substr(2, 1) + R"(,"power":14,"power-max":16,"power-min":11,)" + channel + "," + vaps + list + "}";
    };
    const std::string channel_6 = R"("channel":6,"band":2,"bandwidth":20,"primary-channel":"none")";
    start_hostapd();
    service(link_up);
    EXPECT_EQ(sent(), envelope("subscribe-request") + R"("ap-mac-count":16,"use-wildcard-80211r":0,)" + factory_object +
                          ",\"radios\":[" + radio_0("011", channel_6, clients) + "," + idle_radio_1 + "]}\n");
    service(accepted);
    command("rrm-request-mode");
    EXPECT_EQ(sent(), envelope("rrm-mode-response") + "\"radios\":[" + radio_0("011", channel_6, "") + "," +
                          idle_radio_1 + "]}\n");
    command("rrm-info", R"(,"use-80211v":1)");
    fake_bus::get().configuration["/corvane/load-balance-80211v"] = "true";
    driver.at(0).coex = true;  // the configured width counts
    driver.at(0).configured = 0x1900;
    command("rrm-request-mode");
    EXPECT_EQ(sent(), envelope("rrm-mode-response") + "\"radios\":[" +
                          radio_0("010", R"("channel":6,"band":2,"bandwidth":40,"primary-channel":"upper")", clients) +
                          "," + idle_radio_1 + "]}\n");
    driver.at(0).wds = true;
    command("rrm-request-mode");
    EXPECT_NE(sent().find(R"("locked-for-dca":1,"locked-for-tpc":1,"locked-for-balancer":1,"locked-for-80211v":1)"),
              std::string::npos);
}

TEST_F(messages, versions_and_unsubscribe) {
    for (const char* good : {"2.4", "3.0", " +2. 5x", "2.99999999999999999999", "99999999999999999999.-1"}) {
        subscribe();
        service(std::string(R"({"version":")") + good + R"(","service":"rrm","cmd":"rrm-request-mode"})");
        EXPECT_EQ(sent_names(), "rrm-mode-response") << good;
    }
    for (const char* bad : {R"("2.3")", R"("1.9")", R"("2")", R"("2 .4")", R"("x")", "null", R"("")", "[]",
                            R"("-99999999999999999999.99")", R"("3.-99999999999")"}) {
        subscribe();
        service(std::string(R"({"version":)") + bad + R"(,"service":"rrm","cmd":"rrm-request-mode"})");
        EXPECT_EQ(sent(), envelope("unsubscribe-request") + factory_object +
                              "}\n{\"version\":\"2.4\",\"service\":\"internal-ipc\",\"cmd\":\"unlink\"}\n")
            << bad;
        EXPECT_FALSE(system.has_file(marker));
        EXPECT_TRUE(subscribed());
    }
}

TEST_F(messages, refusals) {
    log_capture log(log_debug_bit);
    system.write_file(pid_file);
    turn();
    const std::string never = " because load balancer is not yet supported\n";
    const std::string away = " because hostapd is not running\n";
    for (const auto& [cmd, reason] :
         std::initializer_list<std::pair<const char*, std::string>>{{"rrm-info", away},
                                                                    {"rrm-update", away},
                                                                    {"rrm-request-mode", away},
                                                                    {"rrm-blacklist", never},
                                                                    {"rrm-probe-request", never},
                                                                    {"rrm-disassoc-request", never},
                                                                    {"rrm-client-assoc-ack", never}}) {
        command(cmd);
        EXPECT_EQ(log.count(std::string("Ignoring ") + cmd + reason), 1) << cmd;
    }
    const std::string before = log.text();
    command("rrm-unknown");
    for (const char* text : {"", "x", "[]", "1", "null", "{}", R"({"service":"other","cmd":"connected"})",
                             R"({"service":"internal-ipc"})", R"({"command":"wifi-client-trap"})"})
        service(text);
    EXPECT_EQ(log.text(), before);
    EXPECT_EQ(sent() + driver.take_calls(), "");
}

TEST_F(messages, configuration) {
    struct row {
        const char* config;
        const char* calls;
    };
    const std::string removed = "del_neighbors wlan1-va1";
    for (const row& r : std::initializer_list<row>{
             {R"({})", ""},
             {R"({"radios":[{"id":0,"channel":11,"power":9}]})", ""},
             {R"({"use-tpc":1,"radios":[{"id":0,"channel":11,"power":9}]})", "set_tx_power wlan0 9; "},
             {R"({"use-dca":1,"radios":[{"id":0,"channel":11,"power":9}]})", "set_channel wlan0 11 20 0; "},
             {R"({"use-dca":1,"radios":[{"id":1,"channel":36,"bandwidth":40,"primary-channel":"upper"}]})",
              "set_channel wlan1 36 40 2; "},
             {R"({"use-dca":1,"radios":[{"id":1,"channel":36,"bandwidth":40}]})", "set_channel wlan1 36 40 1; "},
             {R"({"use-dca":1,"radios":[{"id":1,"channel":36,"bandwidth":80,"primary-channel":"upper"}]})",
              "set_channel wlan1 36 80 0; "},
             {R"({"use-80211v":2,"radios":[{"id":1,"quarn-roam-attempt-timeout":7},{"id":0}]})",
              "roam_timeout wlan1 7; roam_timeout wlan0 0; "},
             {R"({"use-dca":1,"use-tpc":1,"radios":[{"id":2,"channel":1},{"id":-1,"power":1},{"id":0,"power":3}]})",
              "set_tx_power wlan0 3; "},
         }) {
        subscribe(r.config);
        driver.calls.clear();
        service(std::string(R"({"version":"2.4","service":"rrm","cmd":"rrm-info")") + (r.config[1] == '}' ? "" : ",") +
                (r.config + 1));
        EXPECT_EQ(driver.take_calls(), r.calls + removed) << r.config;
    }
    EXPECT_EQ(system.system_log.back(),
              (std::pair<int, std::string>(6, "Corvane requested switch channel to 36 on wlan1")));
    const std::string all = R"({"use-dca":1,"use-tpc":1,"use-80211v":1,"radios":[{"id":1,"channel":36,"power":5,)"
                            R"("quarn-roam-attempt-timeout":3}]})";
    driver.at(1).wds = true;  // only the roam timeout
    subscribe();
    command("subscribe-response", R"(,"status":"success","domain":"lab","config":)" + all);
    EXPECT_EQ(driver.take_calls(), "roam_timeout wlan1 3; " + removed);
    driver.at(1).up = false;
    command("subscribe-response", R"(,"status":"success","config":)" + all);
    EXPECT_EQ(driver.take_calls(), "");
    command("rrm-request-mode");
    EXPECT_NE(sent().find(R"("domain":"lab")"), std::string::npos);
    log_capture log(log_error_bit);
    command("rrm-info", R"(,"radios":[{"id":2},{"id":-1}])");
    EXPECT_EQ(log.count("apply_config() Wrong id value"), 2);
}

TEST_F(messages, neighbour_lists) {
    subscribe();
    const std::string list =
        R"(,"802dot11k":[{"neighbour-mac":"n","channel":36,"priority":2,"vaps":[{"ssid":"a","mac":"m1"},{"ssid":"b",)"
        R"("mac":"m2"},{"ssid":"c"},{"mac":"m"}]},{"channel":1,"vaps":[{"ssid":"a","mac":"m3"}]},{"neighbour-mac":"n"}])";
    command("rrm-info", list);
    EXPECT_EQ(driver.take_calls(), "del_neighbors wlan1-va1; add_neighbor m1 a 36 2 0; add_neighbor m2 b 36 2 0");
    command("rrm-sta-overload", R"(,"radios":[{"id":-1},{"id":2}])" + list);
    EXPECT_EQ(driver.take_calls(), "del_custom wlan1-va1; add_neighbor m1 a 36 2 1; add_neighbor m2 b 36 2 1");
}

TEST_F(messages, active_scan) {
    subscribe();
    driver.at(0).up = driver.at(1).up = false;
    for (int round = 0; round < 5; ++round)
        driver.heard.push_back(round % 2 ? ap_table{}
                                         : ap_table{{{{2, 0, 0, 0, 0xAB, 1}}, -70 - round, 6, 20, 0, 0},
                                                    {{{2, 0, 0, 0, 0xAB, 2}}, -50, 36, 40, 12, 0x100}});
    command("rrm-update", R"(,"rrm-scan-delay":10,"rrm-scan-channels":"1  6 11 36 149 40 36 x 70000 -3 ")");
    EXPECT_EQ(driver.take_calls(), "");
    pass(9);
    EXPECT_EQ(driver.take_calls(), "");
    pass(1);
    const std::string start = "start_scan active [0 1 6 11] [36 40 149]";
    std::string expected = "stop_scan; " + start;
    for (int round = 1; round < 5; ++round)
        expected += "; stop_scan; fill_active; " + start;
    pass(19);
    EXPECT_EQ(driver.take_calls(), expected);
    EXPECT_EQ(sent(), "");
    pass(1);
    EXPECT_EQ(driver.take_calls(), "stop_scan; fill_active");
    const auto round = [](const char* rssi) {
        return std::string(R"([{"bssid":"02:00:00:00:ab:01","rssi":)") + rssi +
               R"(,"channel":6,"tx-power":0,"primary-channel":"none","bandwidth":20},{"bssid":"02:00:00:00:ab:02",)"
               R"("rssi":-50,"channel":36,"tx-power":12,"primary-channel":"upper","bandwidth":40}])";
    };
    const std::string all = sent();
    EXPECT_EQ(all.substr(all.find("\"rf-environment\"")),
              "\"rf-environment\":[" + round("-70") + "," + round("-72") + "," + round("-74") + "]}\n");
    EXPECT_EQ(all.rfind(envelope("rrm-response") + "\"radios\":[{\"id\":0,", 0), 0u);
    EXPECT_EQ(system.system_log.size(), 5u);
    pass(30);
    EXPECT_EQ(sent() + driver.take_calls(), "");
}

TEST_F(messages, rrm_scan_with_delayed_report) {
    subscribe();
    command("rrm-update", R"(,"rrm-scan-delay":10,"quarn-rrm-scanning":1,"rrm-scan-channels":"6 36")");
    pass(14);
    EXPECT_EQ(driver.take_calls(), "stop_scan; start_scan rrm [6] [36]; stop_scan; fill_rrm");
    pass(9);
    EXPECT_EQ(sent(), "");
    command("rrm-update", R"(,"rrm-scan-delay":2)");  // leaves the report alone
    pass(1);
    EXPECT_EQ(sent_names(), "rrm-response");
    EXPECT_EQ(due(0), 1);
    // A delay beyond all reason is held; a negative one is none.
    command("rrm-update", R"(,"rrm-scan-delay":2147483647)");
    EXPECT_EQ(due(0), 1000000);
    driver.scan_duration = 0;
    command("rrm-update", R"(,"rrm-scan-delay":-5,"quarn-rrm-scanning":1)");
    turn();
    EXPECT_NE(sent().find("\"rf-environment\":[]}"), std::string::npos);
    driver.hostapd = false;  // gone under a report that is due
    log_capture log(log_debug_bit);
    rrm_test_access::arm(*worker, 3, 0);
    turn();
    EXPECT_EQ(log.count("Not sending rrm-response because hostapd is not running\n"), 1);
}

TEST_F(messages, probe_report_and_blocked_stations) {
    subscribe();
    auto& first = rrm_test_access::probes(*worker, 0);
    rrm_test_access::probes(*worker, 1)[MacAddr{{2, 0, 0, 0, 0, 9}}] = {-40, 90, 1};
    first[MacAddr{{2, 0, 0, 0, 0, 0xA}}] = {0, 3, 1};
    first[MacAddr{{2, 0, 0, 0, 0, 0xB}}] = {-55, 2, 4};  // its VAP has no SSID
    driver.probed["02:00:00:00:00:0A"] = -66;
    rrm_test_access::arm(*worker, 4, 1);
    pass(2);
    EXPECT_EQ(first.size(), 1u);
    EXPECT_EQ(sent(), "");
    pass(1);
    EXPECT_EQ(sent(), envelope("rrm-probe-response") +
                          R"("radios":[{"id":0,"probe-list":[{"mac":"02:00:00:00:00:0A","ssid":"guest","rssi":-66}]},)"
                          R"({"id":1,"probe-list":[]}]})"
                          "\n");
    EXPECT_EQ(timers(4), 1);
    rrm_test_access::probes(*worker, 1).clear();
    pass(1);
    EXPECT_EQ(timers(4), 0);

    rrm_test_access::blocked(*worker, 1)[MacAddr{{0xAA, 0, 0, 0, 0, 1}}] = 3;
    rrm_test_access::arm(*worker, 6, 1);
    pass(2);
    EXPECT_EQ(driver.take_calls(), "");
    pass(1);
    EXPECT_EQ(driver.take_calls(), "unblock wlan1 AA:00:00:00:00:01");
    pass(1);
    EXPECT_EQ(timers(6), 0);
}

TEST_F(messages, client_events) {
    const auto event = [&](const std::string& type, const std::string& members) {
        from(from_bus, R"({"command":"wifi-client-trap","event":{"type":")" + type + "\"" + members + "}}");
        return sent();
    };
    const std::string full = R"(,"dev":"wlan1-va2","mac":"m","ssid":"s","rssi":-44,"target-mac":"t")";
    subscribe();
    EXPECT_EQ(event("auth", full), "");  // 802.11v is off
    subscribe(R"({"use-80211v":1})");
    const std::string gone = envelope("rrm-client-disassoc") + R"("radio":1,"sta-mac":"m","ssid":"s"})" + "\n";
    for (const char* type :
         {"reassoc", "send-deauth", "send-disassoc", "recv-deauth", "recv-disassoc", "auth-fail", "8021x-fail"})
        EXPECT_EQ(event(type, full), gone) << type;
    const std::string here =
        envelope("rrm-client-assoc") + R"("radio":1,"sta-mac":"m","rssi":-44,"ssid":"s","no-balance":)";
    EXPECT_EQ(event("auth", full), here + "1}\n");
    EXPECT_EQ(event("auth", full + R"(,"client-info":{"using-802.11v":"no"})"), here + "1}\n");
    EXPECT_EQ(event("8021x-success", full + R"(,"client-info":{"using-802.11v":"yes"})"), here + "0}\n");
    EXPECT_EQ(event("80211v-roam", full),
              envelope("rrm-sta-roam") + R"("radio":1,"sta-mac":"m","ssid":"s","target-mac":"t"})" + "\n");
    EXPECT_EQ(event("80211v-roam", R"(,"dev":"wlan0","mac":null)"),
              R"({"version":"2.4","service":"rrm","cmd":"rrm-sta-roam","ap-mac":"02:00:00:00:00:10","domain":"home"})"
              "\n");
    EXPECT_EQ(event("AUTH", full) + event("", full), "");
    driver.scanning = true;  // events do not wait for a scan
    EXPECT_EQ(event("reassoc", full), gone);
    driver.scanning = false;

    rrm_sta_s station;
    station.mac = "m";
    station.ssid = "s";
    station.target_mac = "t";
    driver.events = {{driver_event_desc::station_roamed, 0, &station}, {1, 0, nullptr}};
    turn();
    EXPECT_EQ(sent(), envelope("rrm-sta-roam") + R"("radio":0,"sta-mac":"m","ssid":"s","target-mac":"t"})" + "\n");
    command("rrm-info");
    driver.events = {{driver_event_desc::station_roamed, 0, &station}};
    for (int i = 0; i < 3; ++i) {
        driver.events.push_back({driver_event_desc::config_changed, 0, nullptr});
        pass(2);
    }
    pass(3);  // the last event came a second ago
    EXPECT_EQ(sent(), "");
    pass(1);
    EXPECT_EQ(sent_names(), "rrm-config-changed");
    system.remove_file(pid_file);
    turn();
    sent();
    system.write_file(pid_file);
    EXPECT_EQ(event("reassoc", full), "");  // hostapd is stopped
}

TEST_F(messages, overload) {
    subscribe();
    driver.add_station(0, "A", -60);
    driver.add_station(0, "B", -80);
    driver.add_station(0, "C", -70, 0, true);
    driver.add_station(0, "D", -90, 1, true);
    driver.add_station(0, "E", -80);
    driver.add_station(0, "F", -95, 2);
    const auto calls = [&](const std::string& entry) {
        command("rrm-sta-overload", R"(,"ap-mac":"AP","radios":[)" + entry + "]");
        const std::string all = driver.take_calls();
        return all.substr(std::min(all.size(), all.find("bss_trans")));
    };
    log_capture log(log_debug_bit);
    EXPECT_EQ(calls(R"({"id":0,"roam-count":2})"), "bss_trans wlan0-va1 B 1; bss_trans wlan0-va1 E 1");
    const std::string text = log.text();
    for (const char* line :
         {"AP(AP - wlan0) is overloaded - 2 clients will be roamed\n", "Client(C) doesn`t support 802.11v\n",
          "Client(D) doesn`t support 802.11v\n", "There has already been an attempt to roam client(D)\n",
          "There are 3 posible sta to roam:\n", "MAC: E; RSSI: -80\n",
          "There has already been an attempt to roam client(F)\n", "Sending BSS Trans Request to clients:\n", "#1 B\n",
          "#2 E\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
    EXPECT_EQ(calls(R"({"id":0,"roam-count":0},{"id":0,"roam-count":-1},{"id":1,"roam-count":9},{"id":2},{"id":-1})"),
              "");
    EXPECT_EQ(calls(R"({"id":0,"roam-count":99})"),
              "bss_trans wlan0-va1 B 1; bss_trans wlan0-va1 E 1; bss_trans wlan0-va1 A 1");
}

TEST_F(messages, fast_transition) {
    subscribe();
    command("fbt-info", R"(,"vaps":[])");
    EXPECT_EQ(driver.take_calls(), "fbt reset 0");
    subscribe(R"({"use-80211r":1})");
    const auto config = [](const char* over_ds, int deadline, const std::string& rest) {
        return std::string(R"({"version":"2.4","service":"fbt","ft-config":{"enabled":"true","ft-over-ds":")") +
               over_ds + R"(","ft-psk-generate-local":"false","reassociation-deadline":)" + std::to_string(deadline) +
               R"(,"mobility-domain":)" + rest + "}}; ";
    };
    const std::string holders = R"("r0-key-holder-id":"r0","r1-key-holder-id":"r1")";
    const std::string good = R"({"vap_id":1,"radio_id":1,"fbt-rrb-key":"k",)" + holders;
    const auto remote = [](const char* name) {
        return std::string(R"({"remote-r1-kh-id":")") + name + R"(","remote-r0-kh-id":"z","remote-r1-kh-key":"y"})";
    };
    const auto mac = [](const std::string& name, int index) {
        return "\"" + name + R"(":{"name":")" + name + R"(","index":")" + std::to_string(index) +
               R"(","r0-kh-id":"z","r1-kh-id":")" + name + R"(","r0-kh-key":"k","r1-kh-key":"y"})";
    };
    struct row {
        std::string members, calls;
    };
    std::string many = "{}";  // 32 entries for VAPs that do not exist
    for (int i = 1; i < 32; ++i)
        many += R"(,{"vap_id":99,"radio_id":-5})";
    std::string crowd = remote("c");
    for (int i = 1; i < 1025; ++i)
        crowd += ",{}";
    for (const row& r : std::initializer_list<row>{
             {"", "fbt begin; fbt finish"},
             {R"(,"vaps":[])", "fbt begin; fbt finish"},
             {",\"vaps\":[{\"vap_id\":4}," + good + ",\"remotes\":[]}]",
              "fbt begin; fbt wlan1-va1 " + config("false", 0, "0," + holders + ",\"mac\":{}") + "fbt finish"},
             {R"(,"fbt-over-ds":5,"fbt-reassoc-deadline":900,"vaps":[)" + good +
                  R"(,"mobility-domain":77,"remotes":[)" + remote("a") +
                  R"(,{"remote-r0-kh-id":"z","remote-r1-kh-key":"y"},)" + remote("b") +
                  R"(,{"remote-r1-kh-id":"c","remote-r1-kh-key":"y"},{"remote-r1-kh-id":"d","remote-r0-kh-id":"z"},)" +
                  remote("a") + "]}]",
              "fbt begin; fbt wlan1-va1 " +
                  config("true", 900, "77," + holders + ",\"mac\":{" + mac("a", 5) + "," + mac("b", 2) + "}") +
                  "fbt finish"},
             {R"(,"vaps":[{"vap_id":1,"radio_id":1,)" + holders + ",\"remotes\":[" + remote("a") + "]}]",
              "fbt begin; fbt wlan1-va1 " + config("false", 0, "0," + holders + ",\"mac\":{}") + "fbt finish"},
             {",\"vaps\":[" + good + "}]", "fbt begin; fbt finish"},
             {",\"vaps\":[" + many + "," + good + ",\"remotes\":[]}]", "fbt begin; fbt finish"},
             {",\"vaps\":[" + good + ",\"remotes\":[" + crowd + "," + remote("x") + "]}]",
              "fbt begin; fbt wlan1-va1 " + config("false", 0, "0," + holders + ",\"mac\":{" + mac("c", 0) + "}") +
                  "fbt finish"},
             {",\"vaps\":[" + good + ",\"remotes\":[]},{\"vap_id\":1,\"radio_id\":1,\"r0-key-holder-id\":\"r0\"}]",
              "fbt begin; fbt wlan1-va1 " + config("false", 0, "0," + holders + ",\"mac\":{}") + "fbt reset 0"},
         }) {
        command("fbt-info", r.members);
        EXPECT_EQ(driver.take_calls(), r.calls) << r.members.substr(0, 300);
    }
}

}  // namespace
}  // namespace ravd::testing
