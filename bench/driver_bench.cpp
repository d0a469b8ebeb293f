// What reading a driver's reply costs beside a plain loop over the same fields, and what a custom command costs without
// the kernel's part.

#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <chrono>
#include <cstring>
#include <memory>

#include "driver/realtek/ioctl_ops.h"
#include "tests/support/fake_system.h"

namespace ravd {
namespace {

using clock = std::chrono::steady_clock;

double ns_since(clock::time_point start) {
    return std::chrono::duration<double, std::nano>(clock::now() - start).count();
}

// Without a check of any kind, into memory that is there already. Not inlined: the compiler must not see that nobody
// reads the table.
__attribute__((noinline)) void copy_plainly(const quarn_command_t& record, ap_table& table) {
    std::uint32_t count;
    std::memcpy(&count, record.bytes + scan_reply.count_at, sizeof count);
    const unsigned char* at = record.bytes + scan_reply.entries_at;
    for (std::uint32_t i = 0; i < count; ++i, at += scan_reply.entry_size) {
        scan_record& ap = table[i];
        std::memcpy(ap.bssid.data(), at, 6);
        std::memcpy(&ap.rssi, at + 8, 4);
        std::memcpy(&ap.channel, at + 12, 4);
        std::memcpy(&ap.bandwidth, at + 16, 4);
        ap.tx_power = 0;
        std::uint16_t sideband;
        std::memcpy(&sideband, at + 24, 2);
        ap.sideband = sideband;
    }
}

template <typename Decode>
double timed_ns(const quarn_command_t& record, ap_table& table, Decode decode) {
    const auto start = clock::now();
    for (int i = 0; i < 10; ++i) {
        decode(record, table);
        benchmark::DoNotOptimize(table.data());
        benchmark::ClobberMemory();
    }
    return ns_since(start) / 10;
}

// Both in turns, so that what else the machine does hits both alike. The argument is the number of entries.
void scan_result(benchmark::State& state) {
    const auto record = std::make_unique<quarn_command_t>();
    for (std::size_t i = 0; i < sizeof record->bytes; ++i)
        record->bytes[i] = static_cast<unsigned char>(i * 7);
    const auto count = static_cast<std::uint32_t>(state.range(0));
    std::memcpy(record->bytes + scan_reply.count_at, &count, sizeof count);
    ap_table ours;
    ap_table plain(count);
    double ours_ns = 0;
    double plain_ns = 0;
    for (auto unused : state) {
        ours_ns += timed_ns(*record, ours, [](const quarn_command_t& from, ap_table& to) {
            to.clear();
            parse_scan_result(from, to);
        });
        plain_ns += timed_ns(*record, plain, copy_plainly);
    }
    const auto each = [count](double ns) { return benchmark::Counter(ns / count, benchmark::Counter::kAvgIterations); };
    state.counters["ns_entry"] = each(ours_ns);
    state.counters["plain_ns_entry"] = each(plain_ns);
    state.counters["ratio"] = ours_ns / plain_ns;
}
BENCHMARK(scan_result)->Arg(100)->Arg(1000)->Arg(4680);

// A command whose driver answers at once and without entries. Clearing is what the record alone costs: pages of its own
// that the system hands out zeroed, one of which is written to.
void custom_command(benchmark::State& state) {
    testing::fake_system::get().on_ioctl = [](unsigned long, iwreq* req) {
        std::memset(static_cast<quarn_command_t*>(req->u.data.pointer)->bytes + scan_reply.count_at, 0, 4);
        return 0;
    };
    const auto ops = ioctl_ops::assign(rtl8192cd_back_end, nullptr, "wlan0");
    ap_table table;
    double command_ns = 0;
    double clearing_ns = 0;
    for (auto unused : state) {
        auto start = clock::now();
        for (int i = 0; i < 100; ++i)
            ops->get_scan_results(table);
        command_ns += ns_since(start) / 100;
        start = clock::now();
        for (int i = 0; i < 100; ++i) {
            void* record =
                mmap(nullptr, sizeof(quarn_command_t), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (record == MAP_FAILED) return state.SkipWithError("no memory for the record");
            *static_cast<volatile unsigned char*>(record) = 1;
            munmap(record, sizeof(quarn_command_t));
        }
        clearing_ns += ns_since(start) / 100;
    }
    state.counters["ns_command"] = benchmark::Counter(command_ns, benchmark::Counter::kAvgIterations);
    state.counters["ns_clearing"] = benchmark::Counter(clearing_ns, benchmark::Counter::kAvgIterations);
    state.counters["clearing_share"] = clearing_ns / command_ns;
}
BENCHMARK(custom_command);

}  // namespace
}  // namespace ravd
