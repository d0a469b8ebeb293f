// What json_writer, send_json and json_reader cost beside the same json-c calls made directly.

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <chrono>
#include <cstring>
#include <string>

#include "core/safe_queue.h"
#include "message/json.h"

namespace ravd {
namespace {

constexpr int objects = 1000;
constexpr const char* bssid = "00:11:22:33:44:55";
constexpr const char* ssid = "caf\xC3\xA9 on the corner";

void build(safe_queue& queue) {
    json_writer root("rrm", "rrm-response", bssid);
    json_writer list(true, root, "rf-environment");
    for (int i = 0; i < objects; ++i) {
        json_writer entry(false, list, nullptr);
        entry.add_string("bssid", bssid);
        entry.add_string("ssid", ssid);
        entry.add_int("channel", i);
        entry.add_int("rssi", -i);
        entry.add_int("bandwidth", 80);
    }
    benchmark::DoNotOptimize(send_json(queue, root));
}

void build_directly() {
    json_object* root = json_object_new_object();
    json_object_object_add(root, "version", json_object_new_string("2.4"));
    json_object_object_add(root, "service", json_object_new_string("rrm"));
    json_object_object_add(root, "cmd", json_object_new_string("rrm-response"));
    json_object_object_add(root, "ap-mac", json_object_new_string(bssid));
    json_object* list = json_object_new_array();
    json_object_object_add(root, "rf-environment", list);
    for (int i = 0; i < objects; ++i) {
        json_object* entry = json_object_new_object();
        json_object_array_add(list, entry);
        json_object_object_add(entry, "bssid", json_object_new_string(bssid));
        json_object_object_add(entry, "ssid", json_object_new_string(ssid));
        json_object_object_add(entry, "channel", json_object_new_int(i));
        json_object_object_add(entry, "rssi", json_object_new_int(-i));
        json_object_object_add(entry, "bandwidth", json_object_new_int(80));
    }
    benchmark::DoNotOptimize(std::strlen(json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN)));
    json_object_put(root);
}

// Sums what it reads, so that both readers are seen to read the same.
long read(const std::string& text) {
    long sum = 0;
    const json_reader root(text.c_str());
    const json_reader list = root.child("rf-environment");
    for (std::int32_t i = 0; i < list.size(); ++i) {
        const json_reader entry = list.at(i);
        sum += entry.get_string("bssid")[1] + entry.get_string("ssid")[1] + entry.get_int("channel");
        sum += entry.get_int("rssi") + entry.get_int("bandwidth");
    }
    return sum;
}

long read_directly(const std::string& text) {
    const auto member = [](json_object* object, const char* key) {
        json_object* value = nullptr;
        json_object_object_get_ex(object, key, &value);
        return value;
    };
    long sum = 0;
    json_object* root = json_tokener_parse(text.c_str());
    json_object* list = member(root, "rf-environment");
    const std::size_t length = json_object_array_length(list);
    for (std::size_t i = 0; i < length; ++i) {
        json_object* entry = json_object_array_get_idx(list, i);
        sum += json_object_get_string(member(entry, "bssid"))[1] + json_object_get_string(member(entry, "ssid"))[1];
        sum += json_object_get_int(member(entry, "channel")) + json_object_get_int(member(entry, "rssi"));
        sum += json_object_get_int(member(entry, "bandwidth"));
    }
    json_object_put(root);
    return sum;
}

template <typename Work>
double timed_s(Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Both ways in turns, each first every other time, so that what else the machine does and what the heap was left like
// hits both alike.
template <typename Ours, typename Direct>
void compare(benchmark::State& state, Ours ours, Direct direct) {
    double ours_s = 0;
    double direct_s = 0;
    bool ours_first = false;
    for (auto unused : state) {
        ours_first = !ours_first;
        if (ours_first) ours_s += timed_s(ours);
        direct_s += timed_s(direct);
        if (!ours_first) ours_s += timed_s(ours);
    }
    state.counters["us"] = benchmark::Counter(ours_s * 1e6, benchmark::Counter::kAvgIterations);
    state.counters["direct_us"] = benchmark::Counter(direct_s * 1e6, benchmark::Counter::kAvgIterations);
    state.counters["ratio"] = ours_s / direct_s;
}

void json_build_and_send(benchmark::State& state) {
    safe_queue queue;
    const auto ours = [&] {
        build(queue);
        queue.pop([](const std::shared_ptr<buffer_info_t>& buffer) { benchmark::DoNotOptimize(buffer->size); });
    };
    compare(state, ours, build_directly);
}
BENCHMARK(json_build_and_send);

void json_parse_and_read(benchmark::State& state) {
    safe_queue queue;
    std::string text;
    build(queue);
    queue.pop([&](const std::shared_ptr<buffer_info_t>& buffer) { text = buffer->text(); });
    if (read(text) != read_directly(text)) return state.SkipWithError("the two readers differ");
    compare(
        state, [&] { benchmark::DoNotOptimize(read(text)); }, [&] { benchmark::DoNotOptimize(read_directly(text)); });
}
BENCHMARK(json_parse_and_read);

}  // namespace
}  // namespace ravd
