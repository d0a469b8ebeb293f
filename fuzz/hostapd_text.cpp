// What hostapd says: its answers, events and configuration, to ravd-hostd and to the agent's driver, beside the orders
// of a service.
//
// Aims at: hostd/channel.cpp hostd/clients.cpp hostd/configuration.cpp hostd/holder_order.cpp hostd/host.cpp
//          hostd/hostapd_file.cpp hostd/hostapd_life.cpp hostd/key_holders.cpp hostd/lines.cpp hostd/radio_control.cpp
//          hostd/station_lookup.cpp hostd/vap.cpp driver/nl80211/hostapd_text.cpp driver/nl80211/mainline_vap.cpp
//
// An input is pieces parted by blank lines. A piece's first character says what it is, the rest is its text.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "driver/nl80211/nl80211_back_end.h"
#include "fuzz/check.h"
#include "hostd/host.h"
#include "platform/monotonic.h"
#include "tests/hostd/memory_kernel.h"
#include "tests/support/fake_hostapd.h"
#include "tests/support/fake_system.h"

namespace {

using namespace ravd;
using hostd::testing::memory_kernel;
using ravd::testing::fake_hostapd;
using ravd::testing::fake_system;

constexpr const char* names[] = {"wlan0-va0", "wlan1-va0"};
constexpr std::size_t most_turns = 15;  // of one piece: half a minute
constexpr int turn_ms = 2500;
constexpr const char* config_path = "/etc/hostapd.conf";

bool is_control(char c) { return static_cast<unsigned char>(c) < ' '; }

std::unique_ptr<memory_kernel> make_kernel() {
    auto kernel = std::make_unique<memory_kernel>();
    kernel->make("wlan0", 0, wireless_type::station);
    kernel->make("wlan1", 1, wireless_type::station);
    kernel->make("wlan0-va0", 0, wireless_type::access_point, 2437);
    kernel->make("wlan1-va0", 1, wireless_type::access_point, 5180);
    for (std::uint8_t i = 1; i <= 3; ++i) {
        heard_station station;
        station.mac = {2, 0, 0, 0, 0, i};
        station.connected_s = i * 8u;
        kernel->stations[3 + i % 2].push_back(station);
    }
    return kernel;
}

hostd::settings make_settings() {
    fake_system& system = fake_system::get();
    for (const char* path : {"/tmp/", "/var/run/hostapd/wlan0-va0", "/var/run/hostapd/wlan1-va0"})
        system.write_file(path);
    system.write_file(config_path);
    hostd::settings own;
    own.hostapd_files = {system.root() + config_path};
    return own;
}

class story : public activity {
  public:
    story() {
        hostapd_.reset();
        hostapd_.on_request = [this](const std::string&, const std::string& request) { return answer(request); };
    }

    void play(char what, const std::string& text) {
        switch (what) {
            case 'E':
            case 'F':
                hostapd_.raise(names[what - 'E'], text);
                break;
            case 'c':
                fake_system::get().write_file(config_path, text);
                break;
            case 'g':
                return within(0, [&] { (void)ask_for(text); });
            case 'n':
                return within(hostd::order_wait_ms, [&] { order(text); });
            case 'l':
                for (const std::string& file : hostd::files_of_command_line(text))
                    check(file[0] == '/');
                break;
            case 'd':
                return drive();
            case 'h':
                hostapd_.hangs = !hostapd_.hangs;
                break;
            case 'u':
            case 'v':
                return change_life(names[what - 'u']);
            case 't':
                return pass(text.size());
            default:
                answers_[what] = text;
        }
    }
    void pass(std::size_t turns) {
        for (std::size_t i = 0; i <= std::min(turns, most_turns); ++i) {
            within(hostd::turn_wait_ms, [&] { all_.turn(monotonic_ms()); });
            fake_system::get().advance_ms(turn_ms);
        }
    }

    void end() { all_.reset(); }

    void tick() override {}
    bool cancelled() const override { return false; }

  private:
    // What is done keeps nobody waiting longer.
    template <typename Action>
    void within(int limit_ms, Action action) {
        const std::int64_t before = monotonic_ms();
        action();
        check(monotonic_ms() - before <= limit_ms);
    }
    // Answers by the request's first letters: "S" to STATUS, "G" to GET_CONFIG, "A" to STA, "L" to SHOW_NEIGHBOR, "O"
    // to what changes something.
    std::string answer(const std::string& request) {
        check(request.size() < 4096 && std::none_of(request.begin(), request.end(), is_control));
        if (request.compare(0, 6, "REMOVE") == 0) answers_.erase('L');
        static const std::map<std::string, char> kinds = {
            {"STATUS", 'S'}, {"GET_CONFIG", 'G'}, {"STA", 'A'}, {"SHOW_NEIGHBOR", 'L'}};
        const auto kind = kinds.find(request.substr(0, request.find(' ')));
        const auto found = answers_.find(kind == kinds.end() ? 'O' : kind->second);
        return found == answers_.end() ? "OK" : found->second;
    }
    std::string ask_for(const std::string& path) {
        json_writer request(false);
        request.add_string("path", path.c_str());
        const std::string text = request.text();
        return all_.answer_configuration("get", json_reader(text.c_str()));
    }
    void order(const std::string& text) {
        const json_reader request(text.c_str());
        const char* command = request.is_object() ? request.get_string("command") : nullptr;
        if (!command) return;
        const std::string said = all_.answer_network(command, request);
        const json_reader reply(said.c_str());
        const char* status = reply.get_string("status");
        check(status && (status == std::string("ok") || reply.get_string("reason")));
    }
    void change_life(const char* name) {
        if (hostapd_.life_of(name) == 0)
            hostapd_.start(name);
        else
            hostapd_.stop(name);
    }
    void drive() {
        const auto vap = back_ends_.back_end_of(this, names[0]);
        for (const bool custom : {false, true})
            (void)vap->add_neighbor({{2, 0, 0, 0, 9, 1}, "office", 44, {}, 0, 1, custom});
        std::vector<rrm_sta_s> stations;
        (void)vap->get_assoc_stas(stations);
        for (const rrm_sta_s& one : stations)
            (void)vap->send_bss_trans_req(one.mac.c_str());
        (void)vap->del_neighbors();
        (void)vap->get_obss_coex();
    }

    fake_hostapd& hostapd_ = fake_hostapd::get();
    std::map<char, std::string> answers_;
    std::unique_ptr<memory_kernel> kernel_ = make_kernel();
    // No bus: events of clients are made and then not sent.
    hostd::host all_{make_settings(), *kernel_, "/dev/null"};
    nl80211_back_ends back_ends_{[]() -> std::unique_ptr<nl80211_port> { return make_kernel(); }};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    story one;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::string_view piece = rest.substr(0, rest.find("\n\n"));
        rest.remove_prefix(std::min(piece.size() + 2, rest.size()));
        if (!piece.empty()) one.play(piece[0], std::string(piece.substr(1)));
    }
    one.pass(2);
    one.end();
    return 0;
}
