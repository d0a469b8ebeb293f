// The driver for rtk_wifi6 and the real hostapd, which runs without a radio: a neighbour given to it is read back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "driver/board/board.h"
#include "platform/ctree.h"
#include "platform/mbus.h"
#include "platform/system.h"
#include "tests/system/process.h"

// A configuration that answers "true" to everything: the VAP is enabled, has 802.11k/v and the SSID "true".
struct mbus_endpoint {};
mbus_endpoint* mbus_init(int, const void*, std::size_t) {
    static mbus_endpoint bus;
    return &bus;
}
void mbus_release(mbus_endpoint*) {}
void mbus_peer_start(mbus_endpoint*) {}
void mbus_peer_stop(mbus_endpoint*) {}
int mbus_msg_send(mbus_endpoint*, const void*, int, std::size_t) { return 0; }
ctree* mbus_wait_answer(mbus_endpoint*, const char*, const char*, int) {
    return ctree_parse_buffer(R"({"value":"true"})");
}

namespace ravd::testing {
namespace {

using ::testing::HasSubstr;

void write_file(const std::string& path, const char* text) {
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0755);
    std::ofstream(path) << text;
    chmod(path.c_str(), 0755);
}

std::string read_file(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What hostapd answers to an order given over the same road as the driver's.
std::string ask(const std::string& order) {
    std::string answer;
    sys::run_command_for_reading(("wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan0-va0 " + order).c_str(), answer);
    return answer;
}

// In a process of its own and with its own view of /run, /sys/class/net and /proc/net: no other hostapd is met.
TEST(hostapd, takes_the_neighbours_of_the_driver) {
    for (const char* program : {"/usr/sbin/hostapd", "/usr/sbin/wpa_cli"})
        if (access(program, X_OK) != 0) GTEST_SKIP() << program << " is not installed";
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        GTEST_SKIP() << "a mount namespace of its own is not permitted: run as root";
    for (const char* directory : {"/run", "/sys/class/net", "/proc/self/net"})
        ASSERT_EQ(mount("none", directory, "tmpfs", 0, nullptr), 0) << directory;

    write_file("/run/bin/iwpriv", "#!/bin/sh\necho \"$1  get_mib:1\"\n");
    setenv("PATH", "/run/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    for (const std::string name : {"wlan0", "wlan0-va0"}) {
        write_file("/sys/class/net/" + name + "/flags", "0x1003\n");
        write_file("/proc/net/rtk_wifi6/" + name + "/nb_report", "");
    }
    write_file("/run/hostapd/va0.conf",
               "interface=wlan0-va0\ndriver=none\nctrl_interface=/run/hostapd\nssid=true\nrrm_neighbor_report=1\n");
    const process hostapd({"/usr/sbin/hostapd", "-d", "-g", "/run/hostapd/global", "/run/hostapd/va0.conf"},
                          "/run/log");
    ASSERT_TRUE(eventually(60000, [] { return ask("PING") == "PONG\n"; })) << read_file("/run/log");

    const run_flag running{true};
    board_back_ends back_ends;
    driver_realtek driver(&running, back_ends);
    driver.set_hostapd_running(true);
    driver.init_interface_context();
    driver.add_neighbor("02:AA:bb:cc:dd:ee", "true", 6, 9, false);
    const std::string entry =
        "02:aa:bb:cc:dd:ee ssid=74727565 nr=02aabbccddeeaf490000ff06070603010601\n";  // use40M, 2ndchoffset: 1
    EXPECT_EQ(ask("SHOW_NEIGHBOR"), entry);
    EXPECT_EQ(read_file("/proc/net/rtk_wifi6/wlan0-va0/nb_report"), "add 02:aa:bb:cc:dd:ee 1728577536 0 6 0 9");

    driver.del_neighbors("wlan0-va0");
    EXPECT_EQ(read_file("/proc/net/rtk_wifi6/wlan0-va0/nb_report"), "delall");
    EXPECT_THAT(read_file("/run/log"), HasSubstr("command: IFNAME=wlan0-va0 REMOVE_ALL_NEIGHBOR\n"));
    // The order is not known to every hostapd: 2.10 as released keeps its list.
    const bool known = ask("REMOVE_ALL_NEIGHBOR") == "OK\n";
    EXPECT_EQ(ask("SHOW_NEIGHBOR"), known ? "" : entry);
}

}  // namespace
}  // namespace ravd::testing
