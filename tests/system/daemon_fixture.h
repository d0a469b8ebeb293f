// The real daemon in a directory of the test's own, without an access point.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "tests/system/process.h"

namespace ravd::testing {

class daemon_test : public ::testing::Test {
  protected:
    daemon_test() {
        char name[] = "/tmp/ravd-system-XXXXXX";
        directory = mkdtemp(name);
        setenv("RAVD_SIM_DIR", directory.c_str(), 1);
        write_file("/output", "");
    }
    ~daemon_test() override { EXPECT_EQ(std::system(("rm -rf " + directory).c_str()), 0); }

    // Below the directory; what leads there is created.
    std::string write_file(const std::string& name, const std::string& text) {
        const std::string path = directory + name;
        for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
            mkdir(path.substr(0, at).c_str(), 0755);
        std::ofstream(path) << text;
        return path;
    }
    process start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), RAVD_SIM_PROGRAM);
        return process(std::move(arguments), directory + log_name);
    }
    int status_of(std::vector<std::string> arguments) { return start(std::move(arguments)).wait(60000); }
    // Connects without a delay.
    std::string config(const std::string& mode, std::uint32_t port, const std::string& more = "") {
        return write_file("/conf", mode + "_service_url=127.0.0.1:" + std::to_string(port) +
                                       "/p\ninitial_connection_delay=1\nmax_connection_delay=1\n" + more);
    }
    std::string output() const {
        std::ifstream file(directory + "/output");
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    bool written(const std::string& piece) const { return output().find(piece) != std::string::npos; }
    std::string bus() const { return directory + "/run/ravd-bus"; }
    bool bus_socket_left() const {
        DIR* entries = opendir(bus().c_str());
        bool found = false;
        while (const dirent* entry = entries ? readdir(entries) : nullptr)
            found |= entry->d_type == DT_SOCK;
        if (entries) closedir(entries);
        return found;
    }
    // hostapd runs, and wlan0 is up: the agent asks configuration and driver about it.
    void show_radio() {
        for (const char* name :
             {"/var/run/hostapd.pid", "/tmp/.corvane_notify", "/tmp/.corvane_notify_hostapd_started"})
            write_file(name, "");
        write_file("/sys/class/net/wlan0/flags", "0x1003\n");
    }

    std::string directory;
    std::string log_name = "/output";
};

}  // namespace ravd::testing
