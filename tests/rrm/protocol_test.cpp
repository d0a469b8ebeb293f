// Every message of the agent under the lab service's check, which is held against the examples of docs/protocol.md.
#include <gmock/gmock.h>

#include <set>

#include "sim/common/json.h"
#include "sim/service/protocol_check.h"
#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

TEST_F(agent, keeps_the_protocol) {
    driver.add_station(0, "02:00:00:00:00:01", -60);
    driver.heard.push_back({{{{2, 0, 0, 0, 0, 1}}, -50, 36, 40, 12, 0x100}});
    driver.at(1).chanspec = 0x1024;
    driver.at(1).vaps[1].active = false;
    start_hostapd();
    service(link_up);
    command("subscribe-response", ",'status':'success'");
    command("rrm-request-mode");
    command("rrm-update", ",'quarn-rrm-scanning':1");
    pass(5);
    command("rrm-info", ",'use-80211v':1");
    notify("_config_updated");
    for (const char* type : {"auth", "reassoc", "80211v-roam"})
        from(from_bus,
             "{'command':'wifi-client-trap','event':{'type':'" + std::string(type) +
                 "','dev':'wlan0-va1','mac':'02:00:00:00:00:01','ssid':'s','target-mac':'02:00:00:00:00:02'}}");
    worker->stations().probes(0)[MacAddr{}] = {-40, 0, 1};
    count_stations();
    pass(1);
    system.remove_file(pid_file);
    turn();
    service("{'service':'rrm','cmd':'x'}");
    std::set<std::string> seen;
    while (to_service.pop([&](const auto& message) {
        std::string error;
        const sim::json_ptr root = sim::parse_json(message->data, error);
        if (!sim::is_agent_message(*seen.insert(sim::json_text(root.get(), "cmd")).first)) return;
        EXPECT_THAT(sim::check_message(root.get()), ::testing::IsEmpty()) << message->data;
    })) {
    }
    EXPECT_EQ(seen.size(), 11u);  // all messages of agents, and "unlink"
}

}  // namespace
}  // namespace ravd::testing
