// Messages that no honest sender builds: every member of every message absent, null, of each wrong type, or huge. The
// agent neither crashes nor stops answering.
#include <json-c/json.h>

#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

class hostile : public agent {
  protected:
    void expect_answers(const std::string& text) {
        driver.scanning = false;
        driver.calls.clear();
        sent();
        command("rrm-request-mode");
        turn();
        EXPECT_NE(sent_names().find("rrm-mode-response"), std::string::npos) << text.substr(0, 500);
    }
    void feed(json_object* root) {
        const std::string text = swap_quotes(json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN));
        from(from_bus, text);
        service(text);
        expect_answers(text);
        ++fed;
    }
    // Feeds `root` once for each way to spoil `value` or one of its members.
    void spoil(json_object* root, json_object* parent, const char* key, std::size_t index, json_object* value) {
        const auto put = [&](json_object* other) {
            if (key)
                json_object_object_add(parent, key, other);
            else
                json_object_array_put_idx(parent, index, other);
        };
        if (parent) {
            json_object_get(value);
            static const std::string huge(100000, 'x');
            for (const char* bad : {"null", "true", "-1", "0", "2147483647", "-9223372036854775808", "1e300", "[]",
                                    "{}", "\"\"", "\"-1\"", "[[],[null],{}]", huge.c_str()}) {
                put(bad == huge.c_str() ? json_object_new_string(bad) : json_tokener_parse(bad));
                feed(root);
            }
            if (key) {
                json_object_object_del(parent, key);
                feed(root);
            }
            put(json_object_get(value));
            json_object_put(value);
        }
        if (json_object_is_type(value, json_type_object)) {
            std::vector<std::string> keys;
            json_object_object_foreach(value, name, member) {
                (void)member;
                keys.emplace_back(name);
            }
            for (const std::string& name : keys)
                spoil(root, value, name.c_str(), 0, json_object_object_get(value, name.c_str()));
        } else if (json_object_is_type(value, json_type_array)) {
            for (std::size_t i = 0; i < json_object_array_length(value); ++i)
                spoil(root, value, nullptr, i, json_object_array_get_idx(value, i));
        }
    }
    int fed = 0;
};

TEST_F(hostile, members) {
    subscribe("{'use-80211v':1,'use-80211r':1}");
    driver.add_station(0, "A", -60);
    const std::string config =
        "'use-tpc':1,'use-dca':1,'use-80211v':1,'use-80211r':1,'radios':[{'id':0,'channel':1,'bandwidth':40,'power':9,"
        "'quarn-roam-attempt-timeout':3,'primary-channel':'upper','roam-count':1}],'802dot11k':[{'neighbour-mac':'n',"
        "'channel':1,'priority':2,'vaps':[{'ssid':'a','mac':'m'}]}]}";
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
        json_object* root = json_tokener_parse(swap_quotes(text).c_str());
        ASSERT_TRUE(root) << text;
        spoil(root, nullptr, nullptr, 0, root);
        json_object_put(root);
    }
    EXPECT_GT(fed, 900);
}

TEST_F(hostile, sizes) {
    subscribe("{'use-80211v':1,'use-80211r':1}");
    const auto repeated = [](const std::string& piece, int count) {
        std::string all = piece;
        while (--count)
            all += "," + piece;
        return all;
    };
    std::string channels;
    for (int i = 0; i < 100000; ++i)
        channels += std::to_string(i) + " ";
    std::string blanks;
    for (int i = 0; i < 1000000; ++i)
        blanks += "\\t ";
    for (const std::string& text : {
             rrm + "rrm-update','rrm-scan-channels':'" + blanks + "'}",
             rrm + "rrm-update','rrm-scan-channels':'" + channels + "99999999999999999999 -99999999999999999999'}",
             rrm + "rrm-info','radios':[" + repeated("{'id':9}", 60000) + "]}",
             rrm + "rrm-info','802dot11k':[" + repeated("0", 100000) + "]}",
             rrm + "rrm-sta-overload','radios':[" + repeated("null", 100000) + "]}",
             rrm + "fbt-info','vaps':[" + repeated("{}", 60000) + "]}",
             rrm + "rrm-info','radios':" + std::string(100000, '['),
             rrm + "rrm-info','radios':[{'id':0,'id':1,'id':-7}],'cmd':'rrm-update','cmd':'rrm-info'}",
             rrm + std::string(1000000, 'x') + "'}",
             rrm + "rrm-info','x':'\\u0000\xFF\xC0'}",
             std::string(1, '\0') + rrm,
             std::string(5000000, ' '),
         }) {
        service(text);
        expect_answers(text);
    }
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
