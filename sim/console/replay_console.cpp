#include "sim/console/replay_console.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/monotonic.h"
#include "sim/common/text.h"

namespace ravd::sim {
namespace {

constexpr std::size_t reports_kept = 200000;
constexpr std::size_t points_kept = 600;  // of each client
constexpr std::int64_t load_slice_ms = 40;
constexpr std::int64_t play_slice_ms = 60;
constexpr std::int64_t tick_ms = 100;
constexpr int ticks_per_clock = 5;
constexpr std::size_t told_per_tick = 100;  // entries; more are not told of one by one
constexpr double speed_limit = 3600;
// Checkpoints: at most so many, and so many bytes of the log between two at least.
constexpr std::uint64_t checkpoint_limit = 96;
constexpr std::uint64_t checkpoint_bytes = 1u << 20;

}  // namespace

replay_console::replay_console(event_loop& loop)
    : loop_(loop), loads_(reports_kept), clients_(points_kept), hub_(loop, *this) {}

bool replay_console::start(const web_options& options, std::string& error) {
    if (!log_.open(options.replay, error)) return false;
    name_ = options.replay.substr(options.replay.rfind('/') + 1);
    if (!hub_.start(options, error)) return false;
    load();
    tick();
    return true;
}

void replay_console::load() {
    const std::int64_t end = monotonic_ms() + load_slice_ms;
    const std::uint64_t interval = std::max(log_.bytes() / checkpoint_limit, checkpoint_bytes);
    parsed_line line;
    while (monotonic_ms() < end) {
        if (checkpoints_.size() * interval <= log_.bytes_read())
            checkpoints_.push_back({log_.count(), domain_.agents()});
        if (!log_.read_next(line)) return loaded();
        const domain_model::change change = domain_.apply(line.entry, log_.count());
        log_.set_violation(change.of);
        const agent_record* who = domain_.find(line.entry.agent);
        if (who && change.report) loads_.add(who->id, *who->report);
        if (who && line.entry.what == log_entry::kind::received && json_member(line.entry.message, "radios"))
            clients_.add(who->id, who->radios, line.entry.time_ms);
    }
    position_ = log_.count();
    log_.show(position_);
    if (position_ > 0) time_ms_ = log_.time_of(position_);
    loop_.soon([this] { load(); });
}

// The clock stands at the end of the log then, where all is to be seen.
void replay_console::loaded() {
    loading_ = false;
    position_ = log_.count();
    log_.show(position_);
    if (position_ > 0) time_ms_ = log_.time_of(position_);
    std::printf("%llu entries read, %llu lines passed over\n", static_cast<unsigned long long>(log_.count()),
                static_cast<unsigned long long>(log_.skipped()));
    std::fflush(stdout);
    hub_.reset();
}

domain_model::change replay_console::step(parsed_line& line) {
    ++position_;
    domain_model::change change;
    if (log_.read(position_, line)) change = domain_.apply(line.entry, position_);
    log_.show(position_);
    return change;
}

void replay_console::move_to(std::uint64_t position) {
    const auto behind =
        std::upper_bound(checkpoints_.begin(), checkpoints_.end(), position,
                         [](std::uint64_t wanted, const checkpoint& one) { return wanted < one.position; });
    if (behind != checkpoints_.begin()) {
        const checkpoint& nearest = *std::prev(behind);
        // What is on the way already is not gone over again.
        if (position < position_ || nearest.position > position_) {
            domain_.restore(nearest.agents);
            position_ = nearest.position;
        }
    }
    parsed_line line;
    while (position_ < position)
        step(line);
    log_.show(position_);
}

void replay_console::seek(std::int64_t time_ms) {
    if (log_.count() == 0) return;
    time_ms_ = std::clamp(time_ms, log_.time_of(1), log_.time_of(log_.count()));
    // A slider asks many times; the last one counts.
    if (std::exchange(seeking_, true)) return;
    loop_.soon([this] {
        seeking_ = false;
        move_to(log_.count_until(time_ms_));
        hub_.reset();
    });
}

void replay_console::play_on() {
    const std::uint64_t target = log_.count_until(time_ms_);
    const std::int64_t end = monotonic_ms() + play_slice_ms;
    const bool tell = target - position_ <= told_per_tick;
    parsed_line line;
    while (position_ < target && monotonic_ms() < end) {
        const domain_model::change change = step(line);
        if (tell)
            hub_.entry(log_.head_of(position_, line), change);
        else if (change.agent)
            hub_.stale(line.entry.agent, change.important, change.report);
    }
    if (position_ < target && position_ > 0) time_ms_ = log_.time_of(position_);  // it cannot go that fast
}

void replay_console::tick() {
    const std::int64_t now = monotonic_ms();
    const std::int64_t since = now - std::exchange(ticked_ms_, now);
    if (!loading_ && !seeking_ && speed_ > 0 && log_.count() > 0) {
        const std::int64_t last = log_.time_of(log_.count());
        time_ms_ = std::min(last, time_ms_ + static_cast<std::int64_t>(static_cast<double>(since) * speed_));
        play_on();
        if (position_ == log_.count()) {
            speed_ = 0;
            hub_.broadcast(clock_frame());
        }
    }
    if (++ticks_ % ticks_per_clock == 0 && (loading_ || speed_ > 0)) hub_.broadcast(clock_frame());
    loop_.after(tick_ms, [this] { tick(); });
}

page_state replay_console::state() { return {domain_, log_, loads_, clients_, time_ms_}; }

json_ptr replay_console::hello() {
    json_ptr frame = hello_frame("replay", time_ms_);
    json_put(frame.get(), "name", printable(name_));
    return frame;
}

json_ptr replay_console::clock_frame() const {
    json_ptr frame = bare_frame("clock");
    const bool some = log_.count() > 0;
    json_put(frame.get(), "time", time_ms_);
    json_put_flag(frame.get(), "playing", speed_ > 0);
    json_put(frame.get(), "speed", json_decimal(speed_));
    json_put(frame.get(), "from", some ? log_.time_of(1) : 0);
    json_put(frame.get(), "to", some ? log_.time_of(log_.count()) : 0);
    const double part = loading_ ? log_.loaded() : 1;
    json_put(frame.get(), "loaded", json_decimal(part));
    return frame;
}

json_ptr replay_console::answer(const std::string& type, json_object* request, std::string& error) {
    if (loading_) {
        error = "the log is being read";
    } else if (type == "seek") {
        seek(json_object_get_int64(json_member(request, "time")));
    } else if (type == "play") {
        const double wanted = json_object_get_double(json_member(request, "speed"));
        speed_ = wanted > 0 ? std::min(wanted, speed_limit) : 0;
        const bool at_end = position_ == log_.count() && log_.count() > 0;
        if (speed_ > 0 && at_end && !seeking_) seek(log_.time_of(1));
        hub_.broadcast(clock_frame());
    } else {
        error = "a replay takes seek and play only";
    }
    return error.empty() ? new_json_object() : nullptr;
}

}  // namespace ravd::sim
