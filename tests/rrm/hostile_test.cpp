// Messages that no honest sender builds: every member of every message absent, of each wrong type, or huge. The agent
// neither crashes nor stops answering.
#include <cstring>

#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

class hostile : public agent {
  protected:
    hostile() { driver.scan_duration = 1; }
    void feed(const std::string& text) {
        from(from_bus, text);
        service(text);
        do
            pass(1);
        while (driver.scanning);  // it may have started a scan
        sent();
        command("rrm-request-mode");
        EXPECT_EQ(sent_names(), "rrm-mode-response ") << text.substr(0, 500);
        driver.calls.clear();
    }
};

TEST_F(hostile, members) {
    subscribe("{'use-80211v':1,'use-80211r':1}");
    driver.add_station(0, "A", -60);
    const std::string config =
        "'use-tpc':1,'use-dca':1,'use-80211v':1,'use-80211r':1,'radios':[{'id':0,'channel':1,'bandwidth':40,'power':9,"
        "'quarn-roam-attempt-timeout':3,'primary-channel':'upper','roam-count':1}],'802dot11k':[{'neighbour-mac':'n',"
        "'channel':1,'priority':2,'vaps':[{'ssid':'a','mac':'m'}]}]}";
    const std::string huge = "'" + std::string(100000, 'x') + "'";
    const std::string event = "{'command':'wifi-client-trap','event':{'dev':'wlan0-va1','mac':'m','ssid':'s',";
    for (const std::string& text :
         {rrm + "rrm-info'," + config, rrm + "rrm-sta-overload','ap-mac':'A'," + config,
          rrm + "subscribe-response','status':'success','domain':'home','config':{" + config + "}",
          rrm + "subscribe-response','status':'no','code':503}",
          rrm + "rrm-update','rrm-scan-delay':0,'quarn-rrm-scanning':1,'rrm-scan-channels':'1 36'}",
          rrm + "fbt-info','fbt-reassoc-deadline':1,'fbt-over-ds':1,'vaps':[{'vap_id':1,'radio_id':0,'mobility-domain':"
                "1,'r0-key-holder-id':'a','r1-key-holder-id':'b','fbt-rrb-key':'c','remotes':[{'remote-r1-kh-id':'d',"
                "'remote-r0-kh-id':'e','remote-r1-kh-key':'f'}]}]}",
          event + "'type':'auth','rssi':-4,'client-info':{'using-802.11v':'yes'}}}",
          event + "'type':'80211v-roam','target-mac':'t'}}", link_up, link_down}) {
        for (std::size_t at = text.find("':"); at != std::string::npos; at = text.find("':", at + 1)) {
            feed(text.substr(0, at) + "x" + text.substr(at));  // the member has another name
            std::size_t end = at + 2;
            for (int depth = 0; depth > 0 || !std::strchr(",}]", text[end]); ++end)
                depth += (std::strchr("{[", text[end]) != nullptr) - (std::strchr("}]", text[end]) != nullptr);
            for (const char* bad : {"null", "true", "-1", "0", "2147483647", "-9223372036854775808", "1e300", "[]",
                                    "{}", "''", "'-1'", "[[],[null],{}]", huge.c_str()})
                feed(text.substr(0, at + 2) + bad + text.substr(end));
        }
    }
}

// Large ones are told to the real daemon: tests/system/hostile_sessions.py.
TEST_F(hostile, texts) {
    subscribe("{'use-80211v':1,'use-80211r':1}");
    feed(rrm + "rrm-update','rrm-scan-channels':'99999999999999999999 -99999999999999999999 \\t \\t 70000 '}");
    feed(rrm + "rrm-info','radios':[{'id':0,'id':1,'id':-7}],'cmd':'rrm-update','cmd':'rrm-info'}");
    feed(rrm + "rrm-info','x':'\\u0000\xFF\xC0'}");
    feed(std::string(1, '\0') + rrm);

    // Keys of the request are UTF-8 too.
    command("fbt-info",
            ",'vaps':[{'vap_id':1,'radio_id':0,'r0-key-holder-id':'a','r1-key-holder-id':'b','fbt-rrb-key':"
            "'c','remotes':[{'remote-r1-kh-id':'\xFFz','remote-r0-kh-id':'e','remote-r1-kh-key':'f'}]}]");
    EXPECT_NE(driver.take_calls().find("\"mac\":{\"\uFFFDz\":{\"name\":\"\uFFFDz\""), std::string::npos);
}

// While the network daemon or a driver takes long over each step, the worker's clock goes on being read, and a stop
// ends the sequence early.
TEST_F(hostile, slow_neighbours) {
    subscribe();
    std::string list;
    for (int i = 0; i < 50; ++i) {
        list += "{'ssid':'a','mac':'m'},";
        driver.add_station(0, "A", -60);
    }
    list = ",'802dot11k':[{'neighbour-mac':'n','vaps':[" + list + "0]}]";
    driver.in_call = [&] { system.advance_ms(5000); };
    command("rrm-sta-overload", ",'radios':[{'id':0,'roam-count':50}]" + list);
    EXPECT_EQ(driver.calls.size(), 101u);
    driver.calls.clear();
    driver.in_call = [&] { running = driver.calls.size() < 10; };
    command("rrm-info", list);
    EXPECT_EQ(driver.calls.size(), 10u);
    EXPECT_TRUE(driver.cancelled());  // so are the driver's requests
}

}  // namespace
}  // namespace ravd::testing
