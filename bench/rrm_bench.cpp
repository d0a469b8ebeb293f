// What the agent's messages cost beside the bare json-c calls for the same text, and how the cost of its largest inputs
// grows.

#include <benchmark/benchmark.h>
#include <json-c/json.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "rrm/rrm_worker.h"
#include "tests/rrm/fake_driver.h"
#include "tests/support/fake_bus.h"

// The C library's own allocation, behind which those below count, json-c's calls included. One thread only.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

struct {
    bool on = false;
    long now = 0, most = 0;  // bytes since it was switched on

    void add(long bytes) {
        now += bytes;
        most = std::max(most, now);
    }
} heap;

long size_of(void* block) { return heap.on && block ? static_cast<long>(malloc_usable_size(block)) : 0; }

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
    void* const block = __libc_malloc(size);
    heap.add(size_of(block));
    return block;
}
void* calloc(std::size_t count, std::size_t size) {
    void* const block = __libc_calloc(count, size);
    heap.add(size_of(block));
    return block;
}
void* realloc(void* block, std::size_t size) {
    const long before = size_of(block);
    void* const moved = __libc_realloc(block, size);
    if (moved != block)
        heap.add(size_of(moved));  // for a moment there may be two
    else
        heap.add(size_of(moved) - before);
    if (moved && moved != block) heap.add(-before);
    return moved;
}
void free(void* block) {
    heap.add(-size_of(block));
    __libc_free(block);
}
}

namespace ravd {

namespace {

template <typename Work>
double timed_ns(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// The most bytes that the work takes at a time.
template <typename Work>
double peak_bytes(Work&& work) {
    heap.now = heap.most = 0;
    heap.on = true;
    work();
    heap.on = false;
    return static_cast<double>(heap.most);
}

std::shared_ptr<buffer_info_t> buffer_of(const std::string& text) {
    auto buffer = make_buffer();
    buffer->append(text.data(), text.size());
    return buffer;
}

template <typename Driver = testing::fake_driver>
struct agent {
    Driver driver;
    safe_queue from_service, to_service, from_bus, to_bus;
    run_flag running{true};
    rrm_worker worker{&running, driver, "home", from_service, to_service, from_bus, to_bus};

    agent() {
        driver.hostapd = true;
        driver.record = false;
        worker.on_service_message(buffer_of(
            R"({"version":"2.4","service":"rrm","cmd":"subscribe-response","status":"success","config":{"use-80211r":1}})"));
    }
    std::string sent() {
        std::string text;
        to_service.pop([&](const std::shared_ptr<buffer_info_t>& message) { text = message->text(); });
        testing::fake_bus::get().sent.clear();
        return text;
    }
};

void report(benchmark::State& state, double ours_ns, double bare_ns) {
    state.counters["us_each"] = benchmark::Counter(ours_ns / 1000, benchmark::Counter::kAvgIterations);
    state.counters["bare_us_each"] = benchmark::Counter(bare_ns / 1000, benchmark::Counter::kAvgIterations);
    state.counters["ratio"] = ours_ns / bare_ns;
}

// The tree of "rrm-response".
json_object* bare_tree(const std::array<ap_table, 5>& rounds, json_object* radios) {
    json_object* root = json_object_new_object();
    json_object_object_add(root, "version", json_object_new_string("2.4"));
    json_object_object_add(root, "service", json_object_new_string("rrm"));
    json_object_object_add(root, "cmd", json_object_new_string("rrm-response"));
    json_object_object_add(root, "ap-mac", json_object_new_string("02:00:00:00:00:10"));
    json_object_object_add(root, "domain", json_object_new_string("home"));
    json_object_object_add(root, "radios", json_object_get(radios));
    json_object* environment = json_object_new_array();
    json_object_object_add(root, "rf-environment", environment);
    for (const ap_table& heard : rounds) {
        json_object* round = json_object_new_array();
        json_object_array_add(environment, round);
        for (const scan_record& bss : heard) {
            char bssid[18];
            const auto& o = bss.bssid;
            std::snprintf(bssid, sizeof bssid, "%02x:%02x:%02x:%02x:%02x:%02x", o[0], o[1], o[2], o[3], o[4], o[5]);
            json_object* object = json_object_new_object();
            json_object_array_add(round, object);
            json_object_object_add(object, "bssid", json_object_new_string(bssid));
            json_object_object_add(object, "rssi", json_object_new_int(bss.rssi));
            json_object_object_add(object, "channel", json_object_new_int(static_cast<int>(bss.channel)));
            json_object_object_add(object, "tx-power", json_object_new_int(bss.tx_power));
            json_object_object_add(object, "primary-channel", json_object_new_string("upper"));
            json_object_object_add(object, "bandwidth", json_object_new_int(static_cast<int>(bss.bandwidth)));
        }
    }
    return root;
}

// The least that builds the text: json-c and one copy.
std::string bare_response(const std::array<ap_table, 5>& rounds, json_object* radios) {
    json_object* root = bare_tree(rounds, radios);
    std::string text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
    json_object_put(root);
    return text;
}

// Both in turns, so that what else the machine does hits both alike.
void rrm_response(benchmark::State& state) {
    agent<> one;
    auto& rounds = one.worker.scans().results();
    for (ap_table& heard : rounds)
        for (std::int64_t i = 0; i < state.range(0); ++i)
            heard.push_back({{{2, 0, 0, 0, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)}},
                             static_cast<std::int32_t>(-30 - i % 60),
                             36,
                             40,
                             12,
                             0x100});
    one.worker.scans().send_rrm_response();
    const std::string text = one.sent();
    json_object* parsed = json_tokener_parse(text.c_str());
    json_object* radios = json_object_object_get(parsed, "radios");
    if (bare_response(rounds, radios) != text) state.SkipWithError("the texts differ");
    const double tree = peak_bytes([&] { json_object_put(bare_tree(rounds, radios)); });
    const double peak = peak_bytes([&] { one.worker.scans().send_rrm_response(); });
    one.sent();
    double ours_ns = 0;
    double bare_ns = 0;
    for (auto unused : state) {
        ours_ns += timed_ns([&] { one.worker.scans().send_rrm_response(); });
        one.sent();
        bare_ns += timed_ns([&] { benchmark::DoNotOptimize(buffer_of(bare_response(rounds, radios))); });
    }
    json_object_put(parsed);
    report(state, ours_ns, bare_ns);
    state.counters["peak_MB"] = peak / 1e6;
    state.counters["tree_MB"] = tree / 1e6;
    state.counters["peak_over_tree"] = peak / tree;
    state.counters["us_per_1000_bss"] =
        benchmark::Counter(ours_ns / static_cast<double>(5 * state.range(0)), benchmark::Counter::kAvgIterations);
}
BENCHMARK(rrm_response)->Arg(300)->Arg(1000)->Arg(4680)->Unit(benchmark::kMillisecond);

void dispatch_small_message(benchmark::State& state) {
    agent<> one;
    const auto message = buffer_of(R"({"version":"2.4","service":"rrm","cmd":"rrm-client-assoc-ack"})");
    double ours_ns = 0;
    double bare_ns = 0;
    for (auto unused : state) {
        ours_ns += timed_ns([&] {
            for (int i = 0; i < 100; ++i)
                benchmark::DoNotOptimize(one.worker.on_service_message(message));
        });
        bare_ns += timed_ns([&] {
            for (int i = 0; i < 100; ++i) {
                json_object* root = json_tokener_parse(message->data);
                benchmark::DoNotOptimize(root);
                json_object_put(root);
            }
        });
    }
    report(state, ours_ns / 100, bare_ns / 100);
}
BENCHMARK(dispatch_small_message);

// The least that turns "fbt-info" into the settings of its VAPs: json-c alone, no bounds, no checks.
void bare_fbt_info(const char* message, driver_interface& driver) {
    const auto member = [](json_object* object, const char* key) { return json_object_object_get(object, key); };
    const auto text = [&member](json_object* object, const char* key) {
        return json_object_get_string(member(object, key));
    };
    const auto add = [](json_object* object, const char* key, const char* value) {
        json_object_object_add(object, key, json_object_new_string(value));
    };
    json_object* parsed = json_tokener_parse(message);
    json_object* vaps = member(parsed, "vaps");
    for (std::size_t i = 0; i < json_object_array_length(vaps); ++i) {
        json_object* vap = json_object_array_get_idx(vaps, i);
        json_object* root = json_object_new_object();
        add(root, "version", "2.4");
        add(root, "service", "fbt");
        json_object* config = json_object_new_object();
        json_object_object_add(root, "ft-config", config);
        add(config, "enabled", "true");
        add(config, "ft-over-ds", json_object_get_int(member(parsed, "fbt-over-ds")) ? "true" : "false");
        add(config, "ft-psk-generate-local", "false");
        json_object_object_add(config, "reassociation-deadline",
                               json_object_new_int(json_object_get_int(member(parsed, "fbt-reassoc-deadline"))));
        json_object_object_add(config, "mobility-domain",
                               json_object_new_int(json_object_get_int(member(vap, "mobility-domain"))));
        add(config, "r0-key-holder-id", text(vap, "r0-key-holder-id"));
        add(config, "r1-key-holder-id", text(vap, "r1-key-holder-id"));
        json_object* macs = json_object_new_object();
        json_object_object_add(config, "mac", macs);
        json_object* remotes = member(vap, "remotes");
        for (std::size_t at = 0; at < json_object_array_length(remotes); ++at) {
            json_object* remote = json_object_array_get_idx(remotes, at);
            const char* id = text(remote, "remote-r1-kh-id");
            json_object* object = json_object_new_object();
            json_object_object_add(macs, id, object);
            add(object, "name", id);
            add(object, "index", std::to_string(at).c_str());
            add(object, "r0-kh-id", text(remote, "remote-r0-kh-id"));
            add(object, "r1-kh-id", id);
            add(object, "r0-kh-key", text(vap, "fbt-rrb-key"));
            add(object, "r1-kh-key", text(remote, "remote-r1-kh-key"));
        }
        driver.add_corvane_fbt_params("wlan0-va1", json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN));
        json_object_put(root);
    }
    json_object_put(parsed);
}

// Takes the settings of key holders as they are, while it has where to.
struct settings_driver : testing::fake_driver {
    std::string* taken = nullptr;

    int add_corvane_fbt_params(const char* name, const char* text) override {
        if (taken) *taken += std::string(name) + text;
        return 0;
    }
};

// 14 VAP entries with so many remotes each.
void fbt_info(benchmark::State& state) {
    agent<settings_driver> one;
    std::string remotes;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        remotes += (i ? ",{" : "{") + std::string(R"("remote-r1-kh-id":"02:00:00:00:)") + std::to_string(i) +
                   R"(","remote-r0-kh-id":"holder","remote-r1-kh-key":"000102030405060708090a0b0c0d0e0f"})";
    std::string text = R"({"version":"2.4","service":"rrm","cmd":"fbt-info","vaps":[)";
    for (int vap = 0; vap < 14; ++vap)
        text += (vap ? ",{" : "{") + std::string(R"("vap_id":1,"radio_id":0,"r0-key-holder-id":"a",)") +
                R"("r1-key-holder-id":"b","fbt-rrb-key":"000102030405060708090a0b0c0d0e0f","remotes":[)" + remotes +
                "]}";
    const auto message = buffer_of(text + "]}");
    std::string ours;
    one.driver.taken = &ours;
    one.worker.on_service_message(message);
    std::string bare;
    one.driver.taken = &bare;
    bare_fbt_info(message->data, one.driver);
    if (ours != bare) state.SkipWithError("the settings differ");
    one.driver.taken = nullptr;
    double ours_ns = 0;
    double bare_ns = 0;
    double parsed_ns = 0;
    for (auto unused : state) {
        ours_ns += timed_ns([&] { one.worker.on_service_message(message); });
        bare_ns += timed_ns([&] { bare_fbt_info(message->data, one.driver); });
        parsed_ns += timed_ns([&] { json_object_put(json_tokener_parse(message->data)); });
    }
    report(state, ours_ns, bare_ns);
    state.counters["over_parsing"] = ours_ns / parsed_ns;
    state.counters["us_per_1000_remotes"] =
        benchmark::Counter(ours_ns / static_cast<double>(14 * state.range(0)), benchmark::Counter::kAvgIterations);
}
BENCHMARK(fbt_info)->Arg(256)->Arg(512)->Arg(1025)->Unit(benchmark::kMillisecond);

void overload(benchmark::State& state) {
    agent<> one;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        one.driver.add_station(0, "0A:00:00:00:00:01", static_cast<int>(-20 - (i * 7919) % 80));
    const auto message = buffer_of(R"({"version":"2.4","service":"rrm","cmd":"rrm-sta-overload","ap-mac":"A",)"
                                   R"("radios":[{"id":0,"roam-count":2000}]})");
    double ns = 0;
    for (auto unused : state)
        ns += timed_ns([&] { one.worker.on_service_message(message); });
    state.counters["us_each"] = benchmark::Counter(ns / 1000, benchmark::Counter::kAvgIterations);
    state.counters["us_per_1000_stations"] =
        benchmark::Counter(ns / static_cast<double>(state.range(0)), benchmark::Counter::kAvgIterations);
}
BENCHMARK(overload)->Arg(500)->Arg(1000)->Arg(2000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace ravd
