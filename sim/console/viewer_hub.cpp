#include "sim/console/viewer_hub.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/monotonic.h"

namespace ravd::sim {
namespace {

constexpr std::int64_t agent_interval_ms = 500;
constexpr std::size_t agents_at_once = 16;  // of those a new viewer is told of
constexpr std::size_t download_piece_size = 64 * 1024;

}  // namespace

bool viewer_hub::start(const web_options& options, std::string& error) {
    if (!server_.start(options, error)) return false;
    std::printf("console at %s\n", server_.url().c_str());
    std::fflush(stdout);
    return true;
}

void viewer_hub::send(unsigned viewer, const json_ptr& frame) {
    server_.send(viewer, make_frame(json_compact(frame.get())));
}

void viewer_hub::broadcast(const json_ptr& frame) {
    if (viewers_.empty()) return;
    const web_frame shared = make_frame(json_compact(frame.get()));
    for (const auto& entry : viewers_)
        server_.send(entry.first, shared);
}

void viewer_hub::entry(const entry_head& head, const domain_model::change& change) {
    if (viewers_.empty()) return;
    broadcast(entry_object(head));
    if (change.agent) stale(head.agent, change.important, change.report);
}

void viewer_hub::stale(unsigned agent, bool at_once, bool report) {
    if (viewers_.empty()) return;
    due& one = stale_[agent];
    one.at_once = one.at_once || at_once;
    one.report = one.report || report;
    flush_in(at_once ? 0 : agent_interval_ms / 2);
}

void viewer_hub::flush_in(std::int64_t ms) {
    const std::int64_t when = monotonic_ms() + ms;
    if (when >= flush_ms_) return;
    flush_ms_ = when;
    loop_.after(ms, [this, when] {
        if (flush_ms_ != when) return;  // an earlier one came
        flush_ms_ = INT64_MAX;
        flush();
    });
}

void viewer_hub::flush() {
    const std::int64_t now = monotonic_ms();
    const page_state state = source_.state();
    for (auto it = stale_.begin(); it != stale_.end();) {
        const auto [agent, what] = *it;
        const agent_record* who = state.domain.find(agent);
        std::int64_t& told = told_ms_[agent];
        if (who && !what.at_once && now - told < agent_interval_ms) {
            ++it;
            continue;
        }
        if (who) {
            told = now;
            broadcast(agent_frame(*who, source_.link(agent)));
            if (what.report && who->report) broadcast(report_frame(*who, state.domain));
        } else {
            told_ms_.erase(agent);
        }
        it = stale_.erase(it);
    }
    if (!stale_.empty()) flush_in(agent_interval_ms / 2);
}

void viewer_hub::begin(viewer& one) {
    one.untold.clear();
    one.ready = false;
    for (const auto& entry : source_.state().domain.agents())
        one.untold.push_back(entry.first);
}

void viewer_hub::reset() {
    stale_.clear();
    for (auto& [number, one] : viewers_) {
        send(number, bare_frame("reset"));
        begin(one);
    }
}

void viewer_hub::viewer_joined(unsigned viewer) {
    begin(viewers_[viewer]);
    send(viewer, source_.hello());
}

void viewer_hub::viewer_left(unsigned viewer) {
    viewers_.erase(viewer);
    if (!viewers_.empty()) return;
    stale_.clear();
    told_ms_.clear();
}

// A few agents whenever the viewer has taken what came before.
void viewer_hub::viewer_drained(unsigned viewer) {
    const auto found = viewers_.find(viewer);
    if (found == viewers_.end() || found->second.ready) return;
    auto& untold = found->second.untold;
    const page_state state = source_.state();
    for (std::size_t i = 0; i < agents_at_once && !untold.empty(); ++i) {
        const agent_record* who = state.domain.find(untold.front());
        untold.pop_front();
        if (!who) continue;
        send(viewer, agent_frame(*who, source_.link(who->id)));
        if (who->report) send(viewer, report_frame(*who, state.domain));
    }
    if (!untold.empty()) return;
    found->second.ready = true;
    if (const json_ptr last = source_.last_frame()) send(viewer, last);
    send(viewer, bare_frame("ready"));
}

void viewer_hub::viewer_said(unsigned viewer, std::string_view text) {
    std::string error;
    const json_ptr request = parse_json(text, error);
    json_ptr reply = bare_frame("reply");
    json_put(reply.get(), "id", json_number(request.get(), "id"));
    json_ptr members;
    if (request && json_object_is_type(request.get(), json_type_object)) {
        const std::string type = json_text(request.get(), "type");
        members = answer_query(source_.state(), type, request.get(), error);
        if (!members && error.empty()) members = source_.answer(type, request.get(), error);
    }
    json_put_flag(reply.get(), "ok", members != nullptr);
    if (members) {
        json_object_object_foreach(members.get(), key, value)
            json_object_object_add(reply.get(), key, json_object_get(value));
    } else {
        json_put(reply.get(), "error", error.empty() ? "not a request" : error);
    }
    send(viewer, reply);
}

std::string viewer_hub::download_piece(std::uint64_t& at) {
    entry_store& entries = source_.state().entries;
    std::string piece;
    std::string line;
    at = std::max(at, entries.first());
    while (piece.size() < download_piece_size && at < entries.next() && entries.line(at, line)) {
        piece += line;
        piece += '\n';
        ++at;
    }
    return piece;
}

}  // namespace ravd::sim
