// Every message of the protocol: what an order makes the driver do, and what goes to the service, as whole texts.
#include "tests/core/log_capture.h"
#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

std::string envelope(const std::string& cmd) { return rrm + cmd + "','ap-mac':'02:00:00:00:00:10','domain':'home',"; }
const std::string factory =
    "'factory':{'board':'board-1','hw':'hw-2','serial':'77777777777777777777777777777777','mac':'02:00:00:00:00:10'}";

class messages : public agent {
  protected:
    // One command for each row, with its members and what the driver then does.
    void expect_calls(const std::string& cmd, std::initializer_list<std::pair<std::string, std::string>> rows) {
        for (const auto& [members, calls] : rows) {
            command(cmd, "," + members);
            EXPECT_EQ(swap_quotes(driver.take_calls()), calls) << members.substr(0, 300);
        }
    }
};

TEST_F(messages, radio_descriptions) {
    driver.at(1).up = false;
    driver.at(0).power = 14;
    driver.at(0).vaps[3] = {"a'b/\xFF", "02:00:00:00:00:14", true, true, false};
    driver.add_station(0, "A", -1000);
    driver.add_station(0, "B", -61);
    auto& configuration = fake_bus::get().configuration = {{"/corvane/dca", "true"}, {"/corvane/tpc", "TRUE"}};
    const std::string clients =
        ",'assoclist':[{'mac':'A','ssid':'guest','rssi':0},{'mac':'B','ssid':'guest','rssi':-61}]";
    std::string radios =
        "'radios':[{'id':0,'status':1,'mac-offset':0,'radio-mac-count':8,'locked-for-dca':0,'locked-for-tpc':1,"
        "'locked-for-balancer':1,'locked-for-80211v':1,'power':14,'power-max':16,'power-min':11,'channel':6,'band':2,"
        "'bandwidth':20,'primary-channel':'none','available-channels':'1 6 11 ','vaps':[{'id':1,'ssid':'guest','mac':"
        "'02:00:00:00:00:12','802dot11k':0,'802dot11r':1},{'id':3,'ssid':'a\"b\\/\xEF\xBF\xBD','mac':"
        "'02:00:00:00:00:14','802dot11k':1,'802dot11r':0}]" +
        clients +
        "},{'id':1,'status':0,'mac-offset':8,'radio-mac-count':8,'locked-for-dca':1,'locked-for-tpc':1,"
        "'locked-for-balancer':1,'locked-for-80211v':1,'power':16,'power-max':16,'power-min':11,'channel':36,'band':5,"
        "'bandwidth':80,'primary-channel':'none'}]}\n";
    start_hostapd();
    service(link_up);
    EXPECT_EQ(sent(),
              envelope("subscribe-request") + "'ap-mac-count':16,'use-wildcard-80211r':0," + factory + "," + radios);
    const auto changes_to = [&](std::initializer_list<std::pair<std::string, std::string>> changes) {
        for (const auto& [from, to] : changes)
            radios.replace(radios.find(from), from.size(), to);
        command("rrm-request-mode");
        EXPECT_EQ(sent(), envelope("rrm-mode-response") + radios);
    };
    command("subscribe-response", ",'status':'success'");
    changes_to({{clients, ""}});
    command("rrm-info", ",'use-80211v':1");
    configuration["/corvane/load-balance-80211v"] = "true";
    driver.at(0).coex = true;  // the configured width counts
    driver.at(0).configured = 0x1900;
    changes_to({{"'802dot11r':0}]", "'802dot11r':0}]" + clients},
                {"80211v':1", "80211v':0"},
                {"20,'primary-channel':'none", "40,'primary-channel':'upper"}});
    driver.at(0).wds = true;
    changes_to({{"dca':0", "dca':1"}, {"80211v':0", "80211v':1"}});
}

TEST_F(messages, versions_and_refusals) {
    for (const char* good : {"2.4", "3.0", " +2. 5x", "2.99999999999999999999", "99999999999999999999.-1"}) {
        subscribe();
        service("{'service':'rrm','cmd':'rrm-request-mode','version':'" + std::string(good) + "'}");
        EXPECT_EQ(sent_names(), "rrm-mode-response ") << good;
    }
    for (const char* bad : {"'2.3'", "'1.9'", "'2'", "'2 .4'", "'x'", "null", "''", "[]", "'-99999999999999999999.9'",
                            "'3.-99999999999'"}) {
        subscribe();
        service("{'service':'rrm','cmd':'rrm-request-mode','version':" + std::string(bad) + "}");
        EXPECT_EQ(sent(), envelope("unsubscribe-request") + factory +
                              "}\n{'version':'2.4','service':'internal-ipc','cmd':'unlink'}\n")
            << bad;
        EXPECT_FALSE(system.has_file(marker));
        EXPECT_TRUE(subscribed());
    }
    restart();
    system.write_file(pid_file);
    turn();
    log_capture log(log_debug_bit);
    const std::string hostapd = "hostapd is not running", balancer = "load balancer is not yet supported";
    for (const auto& [cmd, reason] :
         std::initializer_list<std::pair<std::string, std::string>>{{"rrm-info", hostapd},
                                                                    {"rrm-update", hostapd},
                                                                    {"rrm-request-mode", hostapd},
                                                                    {"rrm-blacklist", balancer},
                                                                    {"rrm-probe-request", balancer},
                                                                    {"rrm-disassoc-request", balancer},
                                                                    {"rrm-client-assoc-ack", balancer}}) {
        command(cmd);
        EXPECT_EQ(log.count("Ignoring " + cmd + " because " + reason + "\n"), 1) << cmd;
    }
    const std::string before = log.text();
    command("rrm-unknown");
    for (const char* text : {"", "x", "[]", "1", "null", "{}", "{'service':'other','cmd':'connected'}",
                             "{'service':'internal-ipc'}", "{'command':'wifi-client-trap'}"})
        service(text);
    EXPECT_EQ(log.text() + sent() + driver.take_calls(), before);
}

TEST_F(messages, configuration) {
    subscribe();
    const std::string removed = "del_neighbors wlan1-va1", far = "'use-dca':1,'radios':[{'id':1,'channel':36,";
    log_capture log(log_error_bit);
    expect_calls("rrm-info",
                 {{"'x':0", removed},
                  {"'radios':[{'id':0,'channel':11,'power':9}]", removed},
                  {"'use-tpc':1,'radios':[{'id':0,'channel':11,'power':9}]", "set_tx_power wlan0 9; " + removed},
                  {"'use-dca':1,'radios':[{'id':0,'channel':11,'power':9}]", "set_channel wlan0 11 20 0; " + removed},
                  {far + "'bandwidth':40,'primary-channel':'upper'}]", "set_channel wlan1 36 40 2; " + removed},
                  {far + "'bandwidth':40}]", "set_channel wlan1 36 40 1; " + removed},
                  {far + "'bandwidth':80,'primary-channel':'upper'}]", "set_channel wlan1 36 80 0; " + removed},
                  {"'use-80211v':2,'radios':[{'id':1,'quarn-roam-attempt-timeout':7},{'id':0}]",
                   "roam_timeout wlan1 7; roam_timeout wlan0 0; " + removed}});
    EXPECT_EQ(system.system_log.back(),
              (std::pair<int, std::string>(6, "Corvane requested switch channel to 36 on wlan1")));
    EXPECT_EQ(log.text(), "");
    expect_calls("rrm-info",
                 {{"'use-dca':1,'use-tpc':1,'radios':[{'id':2,'channel':1},{'id':-1,'power':1},{'power':3}]",
                   "set_tx_power wlan0 3; " + removed}});
    EXPECT_EQ(log.count("apply_config() Wrong id value"), 2);
    const std::string all =
        "'status':'success','domain':'lab','config':{'use-dca':1,'use-tpc':1,'use-80211v':1,'radios':"
        "[{'id':1,'channel':36,'power':5,'quarn-roam-attempt-timeout':3}]}";
    driver.at(1).wds = true;  // only the roam timeout
    expect_calls("subscribe-response", {{all, "roam_timeout wlan1 3; " + removed}});
    driver.at(1).up = false;
    expect_calls("subscribe-response", {{all, ""}});
    driver.at(1).up = true;
    driver.at(1).vaps[1].active = false;
    expect_calls("subscribe-response", {{all, removed}});
    command("rrm-request-mode");
    EXPECT_NE(sent().find("'domain':'lab'"), std::string::npos);

    const std::string list =
        "'802dot11k':[{'neighbour-mac':'n','channel':36,'priority':2,'vaps':[{'ssid':'a','mac':'m1'},{'ssid':'b','mac':"
        "'m2'},{'ssid':'c'},{'mac':'m'}]},{'channel':1,'vaps':[{'ssid':'a','mac':'m3'}]},{'neighbour-mac':'n'}]";
    expect_calls("rrm-info", {{list, removed + "; add_neighbor m1 a 36 2 0; add_neighbor m2 b 36 2 0"}});
    expect_calls("rrm-sta-overload", {{"'radios':[{'id':-1},{'id':2}]," + list,
                                       "del_custom wlan1-va1; add_neighbor m1 a 36 2 1; add_neighbor m2 b 36 2 1"}});
}

TEST_F(messages, scans) {
    subscribe();
    driver.at(0).up = driver.at(1).up = false;
    for (int round = 0; round < 5; ++round)
        driver.heard.push_back(round % 2 ? ap_table{}
                                         : ap_table{{{{2, 0, 0, 0, 0xAB, 1}}, -70 - round, 6, 20, 0, 0},
                                                    {{{2, 0, 0, 0, 0xAB, 2}}, -50, 36, 40, 12, 0x100}});
    command("rrm-update", ",'rrm-scan-delay':10,'rrm-scan-channels':'1 \\t 6 11 36x 149 40 36 70000 -3 '");
    pass(9);
    EXPECT_EQ(driver.take_calls(), "");
    const std::string start = "start_scan active [0 1 6 11] [36 40 149]";
    std::string expected = "stop_scan; " + start;
    for (int round = 1; round < 5; ++round)
        expected += "; stop_scan; fill_active; " + start;
    pass(20);
    EXPECT_EQ(driver.take_calls() + sent(), expected);
    pass(1);
    EXPECT_EQ(driver.take_calls(), "stop_scan; fill_active");
    const auto round = [](const char* rssi) {
        return "[{'bssid':'02:00:00:00:ab:01','rssi':" + std::string(rssi) +
               ",'channel':6,'tx-power':0,'primary-channel':'none','bandwidth':20},{'bssid':'02:00:00:00:ab:02',"
               "'rssi':-50,'channel':36,'tx-power':12,'primary-channel':'upper','bandwidth':40}]";
    };
    const auto heard = [&] {
        const std::string all = sent();
        EXPECT_EQ(all.rfind(envelope("rrm-response") + "'radios':[{'id':0,", 0), 0u);
        return all.substr(std::min(all.size(), all.find("'rf-environment'")));
    };
    EXPECT_EQ(heard(), "'rf-environment':[" + round("-70") + "," + round("-72") + "," + round("-74") + "]}\n");
    EXPECT_EQ(system.system_log, decltype(system.system_log)(5, {6, "Started scan by corvane"}));

    // A single round with a delayed report, of which nothing but its own results is left.
    command("rrm-update", ",'rrm-scan-delay':10,'quarn-rrm-scanning':1,'rrm-scan-channels':'6  36 y'");
    pass(14);
    EXPECT_EQ(driver.take_calls(), "stop_scan; start_scan rrm [0 6] [36]; stop_scan; fill_rrm");
    pass(9);
    EXPECT_EQ(sent(), "");
    command("rrm-update", ",'rrm-scan-delay':2");  // leaves the report alone
    pass(1);
    EXPECT_EQ(heard(), "'rf-environment':[]}\n");
    EXPECT_EQ(due(0), std::vector{1LL});
    // A delay beyond all reason is held; a negative one is none.
    command("rrm-update", ",'rrm-scan-delay':2147483647");
    EXPECT_EQ(due(0), std::vector{1000000LL});
    driver.scan_duration = 0;
    command("rrm-update", ",'rrm-scan-delay':-5,'quarn-rrm-scanning':1");
    turn();
    EXPECT_EQ(heard(), "'rf-environment':[]}\n");
    driver.hostapd = false;  // gone under a report that is due
    log_capture log(log_debug_bit);
    rrm_test_access::arm(*worker, 3, 0);
    turn();
    EXPECT_EQ(log.count("Not sending rrm-response because hostapd is not running\n"), 1);
}

TEST_F(messages, probe_report_and_blocked_stations) {
    subscribe();
    auto& first = rrm_test_access::probes(*worker, 0);
    auto& second = rrm_test_access::probes(*worker, 1);
    first = {{MacAddr{{2, 0, 0, 0, 0, 0xA}}, {0, 3, 1}},
             {MacAddr{{2, 0, 0, 0, 0, 0xB}}, {-55, 2, 4}}};  // VAP 4 has no SSID
    second[MacAddr{{2, 0, 0, 0, 0, 9}}] = {-40, 90, 1};
    rrm_test_access::blocked(*worker, 1)[MacAddr{{0xAA, 0, 0, 0, 0, 1}}] = 3;
    rrm_test_access::arm(*worker, 4, 1);
    rrm_test_access::arm(*worker, 6, 1);
    pass(2);
    EXPECT_EQ(first.size(), 1u);
    EXPECT_EQ(sent() + driver.take_calls(), "");
    pass(1);
    EXPECT_EQ(driver.take_calls(), "unblock wlan1 AA:00:00:00:00:01");
    EXPECT_EQ(sent(), envelope("rrm-probe-response") +
                          "'radios':[{'id':0,'probe-list':[{'mac':'02:00:00:00:00:0A','ssid':'guest','rssi':-66}]},"
                          "{'id':1,'probe-list':[]}]}\n");
    EXPECT_EQ(due(4), std::vector{1LL});
    second.clear();
    pass(1);
    EXPECT_TRUE(due(4).empty() && due(6).empty());
}

TEST_F(messages, client_and_driver_events) {
    const auto event = [&](const std::string& type, const std::string& members) {
        from(from_bus, "{'command':'wifi-client-trap','event':{'type':'" + type + "'" + members + "}}");
        return sent();
    };
    const std::string full = ",'dev':'wlan1-va2','mac':'m','ssid':'s','rssi':-44,'target-mac':'t'";
    subscribe();
    EXPECT_EQ(event("auth", full), "");  // 802.11v is off
    subscribe("{'use-80211v':1}");
    const std::string gone = envelope("rrm-client-disassoc") + "'radio':1,'sta-mac':'m','ssid':'s'}\n",
                      roamed = "'sta-mac':'m','ssid':'s','target-mac':'t'}\n",
                      here =
                          envelope("rrm-client-assoc") + "'radio':1,'sta-mac':'m','rssi':-44,'ssid':'s','no-balance':";
    command("rrm-update");  // events do not wait for a scan
    for (const char* type :
         {"reassoc", "send-deauth", "send-disassoc", "recv-deauth", "recv-disassoc", "auth-fail", "8021x-fail"})
        EXPECT_EQ(event(type, full), gone) << type;
    EXPECT_EQ(event("auth", full), here + "1}\n");
    EXPECT_EQ(event("auth", full + ",'client-info':{'using-802.11v':'no'}"), here + "1}\n");
    EXPECT_EQ(event("8021x-success", full + ",'client-info':{'using-802.11v':'yes'}"), here + "0}\n");
    EXPECT_EQ(event("80211v-roam", full), envelope("rrm-sta-roam") + "'radio':1," + roamed);
    EXPECT_EQ(event("80211v-roam", ",'dev':'wlan0','mac':null,'ssid':'s'"), envelope("rrm-sta-roam") + "'ssid':'s'}\n");
    EXPECT_EQ(event("AUTH", full) + event("", full), "");
    pass(20);
    sent();

    rrm_sta_s station;
    station.mac = "m";
    station.ssid = "s";
    station.target_mac = "t";
    driver.events = {{driver_event_desc::station_roamed, 0, &station}, {1, 0, nullptr}};
    turn();
    EXPECT_EQ(sent(), envelope("rrm-sta-roam") + "'radio':0," + roamed);
    command("rrm-info");  // turns 802.11v off
    driver.events = {{driver_event_desc::station_roamed, 0, &station}};
    for (int i = 0; i < 3; ++i) {
        driver.events.push_back({driver_event_desc::config_changed, 0, nullptr});
        pass(2);
    }
    pass(3);  // the last event came a second before
    EXPECT_EQ(sent(), "");
    pass(1);
    EXPECT_EQ(sent_names(), "rrm-config-changed ");
    command("rrm-info", ",'use-80211v':1");
    system.remove_file(pid_file);
    turn();
    sent();
    EXPECT_EQ(event("reassoc", full), "");  // hostapd is stopped
}

TEST_F(messages, overload) {
    subscribe();
    driver.add_station(0, "A", -60);
    driver.add_station(0, "B", -80);
    driver.add_station(0, "C", -70, 0, true);
    driver.add_station(0, "D", -90, 1, true);
    driver.add_station(0, "E", -80);
    log_capture log(log_debug_bit);
    const std::string removed = "del_custom wlan1-va1", weak = "; bss_trans wlan0-va1 B 1; bss_trans wlan0-va1 E 1";
    expect_calls("rrm-sta-overload", {{"'ap-mac':'AP','radios':[{'id':0,'roam-count':2}]", removed + weak}});
    for (const char* line :
         {"AP(AP - wlan0) is overloaded - 2 clients will be roamed\n", "Client(C) doesn`t support 802.11v\n",
          "Client(D) doesn`t support 802.11v\n", "There has already been an attempt to roam client(D)\n",
          "There are 3 posible sta to roam:\n", "MAC: E; RSSI: -80\n", "#1 B\n", "#2 E\n",
          "Sending BSS Trans Request to clients:\n"})
        EXPECT_EQ(log.count(line), 1) << line;
    expect_calls(
        "rrm-sta-overload",
        {{"'radios':[{'id':0,'roam-count':0},{'roam-count':-1},{'id':1,'roam-count':9},{'id':2},{'id':-1}]", removed},
         {"'radios':[{'id':0,'roam-count':99}]", removed + weak + "; bss_trans wlan0-va1 A 1"}});
}

TEST_F(messages, fast_transition) {
    subscribe();
    expect_calls("fbt-info", {{"'vaps':[]", "fbt reset 0"}});
    subscribe("{'use-80211r':1}");
    command("rrm-info");  // leaves 802.11r on
    driver.calls.clear();
    const std::string holders = "'r0-key-holder-id':'r0','r1-key-holder-id':'r1'";
    const std::string keyless = "{'vap_id':1,'radio_id':1," + holders, good = keyless + ",'fbt-rrb-key':'k'";
    const auto remote = [](const std::string& name) {
        return "{'remote-r1-kh-id':'" + name + "','remote-r0-kh-id':'z','remote-r1-kh-key':'y'}";
    };
    const auto mac = [](const std::string& name, const std::string& index) {
        return "'" + name + "':{'name':'" + name + "','index':'" + index + "','r0-kh-id':'z','r1-kh-id':'" + name +
               "','r0-kh-key':'k','r1-kh-key':'y'}";
    };
    const auto vap = [&](const std::string& macs, const std::string& ds = "false", const std::string& deadline = "0",
                         const std::string& mobility = "0") {
        return "fbt wlan1-va1 {'version':'2.4','service':'fbt','ft-config':{'enabled':'true','ft-over-ds':'" + ds +
               "','ft-psk-generate-local':'false','reassociation-deadline':" + deadline +
               ",'mobility-domain':" + mobility + "," + holders + ",'mac':{" + macs + "}}}; ";
    };
    const std::string begin = "fbt begin; ", finish = "fbt finish", none = "'vaps':[" + good + ",'remotes':[]}";
    std::string many, crowd;
    for (int i = 0; i < 32; ++i)
        many += "{'vap_id':99,'radio_id':-5},";
    for (int i = 0; i < 1024; ++i)
        crowd += "{},";
    expect_calls(
        "fbt-info",
        {{"'x':0", begin + finish},
         {"'vaps':[]", begin + finish},
         {"'vaps':[{'vap_id':4}," + none.substr(8) + "]", begin + vap("") + finish},
         {"'fbt-over-ds':5,'fbt-reassoc-deadline':900,'vaps':[" + good + ",'mobility-domain':77,'remotes':[" +
              remote("a") + ",{'remote-r0-kh-id':'z','remote-r1-kh-key':'y'}," + remote("b") +
              ",{'remote-r1-kh-id':'c','remote-r1-kh-key':'y'},{'remote-r1-kh-id':'d','remote-r0-kh-id':'z'}," +
              remote("a") + "]}]",
          begin + vap(mac("a", "5") + "," + mac("b", "2"), "true", "900", "77") + finish},
         {"'vaps':[" + keyless + ",'remotes':[" + remote("a") + "]}," + keyless + ",'fbt-rrb-key':'" +
              std::string(513, 'k') + "','remotes':[" + remote("a") + "]}]",
          begin + vap("") + vap("") + finish},
         {"'vaps':[" + good + "}]", begin + finish},
         {"'vaps':[" + many + none.substr(8) + "]", begin + finish},
         {"'vaps':[" + good + ",'remotes':[" + crowd + remote("c") + "," + remote("x") + "]}]",
          begin + vap(mac("c", "1024")) + finish},
         {none + ",{'vap_id':1,'radio_id':1,'r0-key-holder-id':'r0'}]", begin + vap("") + "fbt reset 0"},
         {none + ",{'vap_id':1,'radio_id':1,'r1-key-holder-id':'r1'}]", begin + vap("") + "fbt reset 0"}});
}

}  // namespace
}  // namespace ravd::testing
