// docs/protocol.md against the agent: its examples of the agent's messages have the members that the agent sends, in
// their order.
#include <json-c/json.h>

#include <fstream>
#include <map>

#include "tests/rrm/agent_fixture.h"

namespace ravd::testing {
namespace {

using protocol = agent;
using shape = std::map<std::string, std::string>;  // path of an object, its longest list of members

void add_shape(json_object* value, const std::string& path, shape& out) {
    if (json_object_is_type(value, json_type_array)) {
        for (std::size_t i = 0; i < json_object_array_length(value); ++i)
            add_shape(json_object_array_get_idx(value, i), path + "[]", out);
    } else if (json_object_is_type(value, json_type_object)) {
        std::string names;
        json_object_object_foreach(value, name, member) {
            names += std::string(name) + " ";
            add_shape(member, path + "." + name, out);
        }
        if (names.size() > out[path].size()) out[path] = names;
    }
}

shape shape_of(const std::string& text) {
    shape out;
    json_object* root = json_tokener_parse(text.c_str());
    add_shape(root, "", out);
    json_object_put(root);
    return out;
}

TEST_F(protocol, page) {
    std::map<std::string, std::string> examples;  // of the agent, by name
    std::ifstream page(RAVD_SOURCE_DIR "/docs/protocol.md");
    const std::string mark = "<!-- message: ";
    for (std::string line, name; std::getline(page, line);) {
        if (line.rfind(mark, 0) == 0) name = line.substr(mark.size());
        if (line != "```json") continue;
        std::string text;
        while (std::getline(page, line) && line != "```")
            text += line;
        if (name.find(" agent") != std::string::npos) examples[name.substr(0, name.find(' '))] = text;
    }

    std::map<std::string, std::string> ours;
    const auto collect = [&] {
        while (to_service.pop([&](const auto& m) { ours.emplace(json_reader(m->data).get_string("cmd"), m->data); })) {
        }
    };
    driver.add_station(0, "A", -60);
    driver.heard.push_back({{{{2, 0, 0, 0, 0, 1}}, -50, 36, 40, 12, 0x100}});
    start_hostapd();
    service(link_up);
    command("subscribe-response", ",'status':'success'");
    command("rrm-request-mode");
    command("rrm-update", ",'quarn-rrm-scanning':1");
    pass(5);
    collect();
    command("rrm-info", ",'use-80211v':1");
    notify("_config_updated");
    for (const char* type : {"auth", "reassoc", "80211v-roam"})
        from(from_bus, "{'command':'wifi-client-trap','event':{'type':'" + std::string(type) +
                           "','dev':'wlan0-va1','mac':'m','ssid':'s','target-mac':'t'}}");
    rrm_test_access::probes(*worker, 0)[MacAddr{}] = {-40, 0, 1};
    rrm_test_access::arm(*worker, 4, 0);
    turn();
    system.remove_file(pid_file);
    turn();
    service("{'service':'rrm','cmd':'x'}");
    collect();

    EXPECT_EQ(ours.erase("unlink"), 1u);  // internal
    EXPECT_EQ(ours.size(), examples.size());
    for (const auto& [name, text] : examples) {
        SCOPED_TRACE(name);
        const shape sent = shape_of(ours[name]);
        for (const auto& [path, names] : shape_of(text))
            EXPECT_EQ(names, sent.count(path) ? sent.at(path) : "") << path;
    }
}

}  // namespace
}  // namespace ravd::testing
