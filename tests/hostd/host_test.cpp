// The whole program against an access point in memory: what it answers, what it tells hostapd and the kernel, and what
// the agent is told.
#include "tests/hostd/access_point.h"

namespace ravd::hostd::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr const char* pid_path = "/var/run/hostapd.pid";

TEST_F(hostd_test, hostapd_comes_goes_and_is_killed) {
    pass(1000);
    EXPECT_FALSE(notified("hostapd_started"));
    start_hostapd();
    pass(1500);
    EXPECT_TRUE(notified("hostapd_started"));
    EXPECT_EQ(system.read_file(pid_path), std::to_string(getpid()) + "\n");
    pass(20000);
    EXPECT_FALSE(notified("hostapd_started"));

    stop_hostapd();  // killed: nobody removed its file
    system.write_file(pid_path, std::to_string(ended_process()) + "\n");
    pass(1500);
    EXPECT_FALSE(system.has_file(pid_path));
    EXPECT_EQ(get("/interface/wlan0-va0/common/enabled"), "false");

    start_hostapd();
    pass(1500);
    EXPECT_TRUE(notified("hostapd_started"));
    // Between two looks: another process.
    hostapd.process = getppid();
    start_hostapd();
    pass(1500);
    EXPECT_TRUE(notified("hostapd_started"));
    // Another SSID after a reload.
    hostapd.on_request = [this](const std::string& name, const std::string& request) {
        return request == "GET_CONFIG" ? "ssid=other\nwpa=3\nkey_mgmt=WPA-PSK" : answer(name, request);
    };
    pass(11000);
    EXPECT_TRUE(notified("hostapd_started"));
    EXPECT_EQ(get("/interface/wlan0-va0/vap/ap-security/mode"), "WPA_WPA2_PSK");
    system.write_file("/etc/hostapd.conf", "interface=wlan0-va0\n");
    pass(6000);
    EXPECT_TRUE(notified("hostapd_started"));
    EXPECT_EQ(get("/interface/wlan0-va0/vap/w80211kv-config/enabled"), "false");
    pass(6000);
    EXPECT_FALSE(notified("hostapd_started"));
}

TEST_F(hostd_test, one_radio_that_goes_is_told_though_hostapd_stays) {
    start_hostapd();
    pass(1500);
    EXPECT_TRUE(notified("hostapd_started"));
    hostapd.stop("wlan1-va0");
    pass(7000);
    EXPECT_TRUE(notified("hostapd_started"));
    EXPECT_TRUE(system.has_file(pid_path));
    EXPECT_EQ(update("wlan1", R"("channel":"44")"), "hostapd has no VAP of wlan1 on the air");
}

TEST_F(hostd_test, values_come_from_the_own_file_hostapd_and_the_kernel) {
    start_hostapd();
    pass(1500);
    const std::pair<const char*, const char*> values[] = {
        {"/corvane/dca", "true"},
        {"/corvane/tpc", "false"},
        {"/interface/wlan0/common/enabled", "true"},
        {"/interface/wlan0/wlan/radio/channel", "6"},
        {"/interface/wlan0/wlan/radio/bandwidth", "20"},
        {"/interface/wlan0/wlan/radio/auto-channel", "false"},
        {"/interface/wlan1/wlan/radio/auto-channel", "true"},
        {"/interface/wlan0/wlan/radio/tx-power-max", "20"},
        {"/interface/wlan1/wlan/radio/tx-power-max", "15"},
        {"/interface/wlan1/wlan/radio/tx-power", "20"},
        {"/interface/wlan0-vap0/vap/captive-portal/enabled", "true"},
        {"/interface/wlan0/wlan/radio/country", "US"},
        {"/interface/wlan0/wlan/wds/enabled", "false"},
        {"/interface/wlan0-wds3/common/enabled", "false"},
        {"/interface/wlan0-va0/vap/ssid", "office"},
        {"/interface/wlan0-va0/vap/w80211kv-config/enabled", "true"},
        {"/interface/wlan1-va0/vap/w80211kv-config/enabled", "false"},
        {"/interface/wlan0-vap0/vap/ap-security/mode", "WPA2_PSK"},
        {"/interface/wlan0-va1/common/enabled", "false"},
        {"/interface/wlan0-va1/vap/ssid", "-"},
        {"/interface/wlan2/wlan/radio/colour", "-"},
        {"/interface/../etc", "-"},
        {"", "-"},
    };
    for (const auto& [path, value] : values)
        EXPECT_EQ(get(path), value) << path;
}

TEST_F(hostd_test, a_channel_is_announced_held_over_a_restart_and_given_back) {
    start_hostapd();
    pass(1500);
    notified("");
    orders();
    EXPECT_EQ(update("wlan0", R"("auto-channel":"false","channel":"9","bandwidth":"40","control-sideband":"upper")"),
              "ok");
    EXPECT_THAT(orders(), ElementsAre("wlan0-va0 CHAN_SWITCH 5 2452 sec_channel_offset=-1 center_freq1=2442 "
                                      "bandwidth=40 ht"));
    EXPECT_FALSE(system.has_file("/tmp/.corvane_notify_config_updated"));
    pass(200);
    EXPECT_TRUE(notified("config_updated"));
    EXPECT_EQ(get("/interface/wlan0/wlan/radio/control-sideband"), "upper");
    EXPECT_EQ(update("wlan0", R"("channel":"9","bandwidth":"40","control-sideband":"upper")"), "ok");
    EXPECT_THAT(orders(), IsEmpty());

    stop_hostapd();
    pass(1500);
    start_hostapd();
    pass(1500);
    EXPECT_THAT(orders(), ElementsAre(HasSubstr("CHAN_SWITCH 5 2452")));
    refused = "CHAN_SWITCH";
    EXPECT_THAT(reset("wlan0"), HasSubstr("refuses"));
    refused.clear();
    orders();
    pass(1100);  // hostapd is asked again
    EXPECT_THAT(orders(), ElementsAre("wlan0-va0 CHAN_SWITCH 5 2437 center_freq1=2437 bandwidth=20 ht"));
    EXPECT_EQ(reset("wlan0"), "ok");
    EXPECT_THAT(orders(), IsEmpty());
}

TEST_F(hostd_test, what_cannot_be_is_refused_with_its_reason_and_changes_nothing) {
    start_hostapd();
    pass(1500);
    orders();
    notified("");
    EXPECT_THAT(update("wlan1", R"("channel":"52")"), HasSubstr("radar"));
    EXPECT_THAT(update("wlan1", R"("channel":"36","bandwidth":"160")"), HasSubstr("160"));
    EXPECT_THAT(update("wlan1", R"("channel":"6")"), HasSubstr("band"));
    EXPECT_THAT(update("wlan1", R"("channel":"-1")"), HasSubstr("no channel 0"));
    EXPECT_THAT(update("wlan0", R"("bandwidth":"80")"), HasSubstr("80 MHz"));
    EXPECT_THAT(update("wlan0", R"("channel":"1","bandwidth":"40","control-sideband":"upper")"), HasSubstr("2392"));
    EXPECT_THAT(update("wlan1", R"("tx-power":"16")"), HasSubstr("limits"));
    EXPECT_THAT(update("wlan1", R"("channel":"44","colour":"red")"), HasSubstr("colour"));
    EXPECT_THAT(update("wlan1", ""), HasSubstr("parameters"));
    EXPECT_THAT(update("wlan5", R"("channel":"44")"), HasSubstr("no such radio"));
    EXPECT_EQ(ask(R"({"command":"explode"})"), "unknown command");
    EXPECT_THAT(orders(), IsEmpty());
    refused = "CHAN_SWITCH";
    EXPECT_THAT(update("wlan1", R"("channel":"44")"), HasSubstr("refuses"));
    EXPECT_EQ(get("/interface/wlan1/wlan/radio/channel"), "36");

    hostapd.hangs = true;
    const double began = system.now_s();
    EXPECT_THAT(update("wlan1", R"("channel":"48")"), HasSubstr("answer"));
    EXPECT_LT(system.now_s() - began, 1.0);
    EXPECT_EQ(get("/interface/wlan0-va0/vap/ssid"), "office");
    EXPECT_FALSE(notified("config_updated"));
}

TEST_F(hostd_test, power_is_the_kernels) {
    start_hostapd();
    pass(1500);
    EXPECT_EQ(kernel.radios[0].power, 1700);
    EXPECT_EQ(update("wlan0", R"("tx-power":"12")"), "ok");
    EXPECT_EQ(get("/interface/wlan0/wlan/radio/tx-power"), "12");
    kernel.radios[0].power.reset();  // another radio, after its driver was loaded anew
    stop_hostapd();
    pass(1500);
    start_hostapd();
    pass(1500);
    EXPECT_EQ(kernel.radios[0].power, 1200);
    EXPECT_EQ(reset("wlan0"), "ok");
    EXPECT_EQ(kernel.radios[0].power, 1700);
    notified("");
    EXPECT_EQ(update("wlan1", R"("tx-power":"12")"), "ok");
    EXPECT_TRUE(notified("config_updated"));
    EXPECT_EQ(kernel.radios[1].power, 1200);
    EXPECT_EQ(get("/interface/wlan1/wlan/radio/tx-power"), "12");
    all.reset();
    EXPECT_EQ(kernel.radios[1].power, std::nullopt);
}

TEST_F(hostd_test, a_hostapd_that_hangs_keeps_the_agent_waiting_for_nothing_but_its_own_orders) {
    start_hostapd();
    pass(1500);
    ask(R"({"command":"update-corvane-fbt","wlan0-va0":{"ft-config":{"mobility-domain":4779,"r0-key-holder-id":"ap1",)"
        R"("r1-key-holder-id":"020000000001","mac":{"x":{"r0-kh-id":"ap2","r1-kh-id":"020000000002",)"
        R"("r0-kh-key":"00112233445566778899aabbccddeeff","r1-kh-key":"00112233445566778899aabbccddeeff"}}}}})");
    orders();
    hostapd.hangs = true;
    for (int i = 10; i < 40; ++i) {
        hostapd.raise("wlan0-va0", "AP-STA-CONNECTED 02:00:00:00:00:" + std::to_string(i));
        hostapd.raise("wlan1-va0", i % 2 ? "AP-DISABLED" : "AP-ENABLED");
    }
    const std::int64_t began = monotonic_ms();
    all.turn(began);
    EXPECT_LE(monotonic_ms() - began, turn_wait_ms);
    // Taken back when it answers again.
    EXPECT_THAT(ask(R"({"command":"reset-corvane-fbt","wlan0-va0":{}})"), HasSubstr("slow"));
    hostapd.hangs = false;
    orders();
    pass(7000);
    EXPECT_THAT(orders(), ElementsAre(HasSubstr("SET r0kh 02:00:00:00:00:02 ap2"), HasSubstr("SET r1kh"),
                                      HasSubstr("SET ft_over_ds 1")));
}

class agent_on_the_bus {
  public:
    explicit agent_on_the_bus(const std::string& directory) : bus_(bus_endpoint::open(directory, module_agent)) {
        bus_->start();
    }
    // The next message; waits for it, in real time.
    std::string next() {
        bus_message message;
        pollfd entry{bus_->descriptor(), POLLIN, 0};
        while (!bus_->receive(message))
            if (poll(&entry, 1, 30000) != 1) return "nothing";
        return std::string(message.text());
    }

  private:
    std::unique_ptr<bus_endpoint> bus_;
};

TEST_F(hostd_test, clients_are_told_to_the_agent_as_they_come_go_and_roam) {
    const std::string a = "02:00:00:00:00:0a";
    heard_station known;
    known.mac = {2, 0, 0, 0, 0, 0xa};
    known.signal_average = -61;
    known.connected_s = 60;
    start_hostapd();
    pass(1500);
    agent_on_the_bus agent(system.root() + "/run/bus");
    kernel.stations[3] = {known};
    hostapd.raise("wlan0-va0", "AP-STA-CONNECTED 02:00:00:00:00:0A auth_alg=open");
    pass(100);
    const std::string around = R"(,"mac":"02:00:00:00:00:0a","ssid":"office","rssi":)";
    EXPECT_EQ(agent.next(), R"({"command":"wifi-client-trap","event":{"type":"auth","dev":"wlan0-va0")" + around +
                                R"(-61,"client-info":{"using-802.11v":"yes"}}})");
    hostapd.raise("wlan0-va0",
                  "BSS-TM-RESP " + a + " status_code=0 bss_termination_delay=0 target_bssid=02:00:00:00:00:99");
    hostapd.raise("wlan0-va0", "AP-STA-DISCONNECTED " + a);
    pass(100);
    EXPECT_THAT(agent.next(), HasSubstr(R"("type":"80211v-roam")"));
    hostapd.raise("wlan0-va0", "AP-STA-DISCONNECTED " + a);  // not there any more
    hostapd.raise("wlan0-va0", "AP-STA-CONNECTED garbage");
    hostapd.raise("wlan0-va0", "AP-STA-CONNECTED " + a);
    hostapd.raise("wlan1-va0", "AP-STA-CONNECTED " + a);
    pass(100);
    for (const char* expected :
         {R"("auth","dev":"wlan0-va0")", R"("recv-disassoc","dev":"wlan0-va0")", R"("auth","dev":"wlan1-va0")"})
        EXPECT_THAT(agent.next(), HasSubstr(expected));
    kernel.station_error = -EBUSY;
    pass(31000);
    kernel.station_error = 0;
    // hostapd told of neither: its listener was dropped.
    kernel.stations[3] = {known};
    kernel.stations[4] = {};
    pass(31000);
    EXPECT_THAT(agent.next(), HasSubstr(R"("recv-disassoc","dev":"wlan1-va0")"));
    EXPECT_THAT(agent.next(), HasSubstr(R"("auth","dev":"wlan0-va0")"));
}

}  // namespace
}  // namespace ravd::hostd::testing
