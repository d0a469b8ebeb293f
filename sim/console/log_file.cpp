#include "sim/console/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "sim/common/text.h"
#include "sim/console/domain_model.h"
#include "sim/service/arguments.h"

namespace ravd::sim {
namespace {

constexpr std::size_t chunk_size = 1u << 20;
constexpr std::size_t line_limit = 40u << 20;
constexpr std::size_t entries_limit = 4000000;
constexpr std::size_t cmds_limit = 500;
const std::string other = "other";

// "2026-03-01T12:00:00.123Z"
bool parse_time(const std::string& text, std::int64_t& ms) {
    std::tm parts = {};
    int thousandths = 0;
    char end = 0;
    if (text.size() != 24 ||
        std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3d%c", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
                    &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &thousandths, &end) != 8)
        return false;
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    const std::time_t seconds = timegm(&parts);
    ms = static_cast<std::int64_t>(seconds) * 1000 + thousandths;
    return end == 'Z' && seconds > 0;
}

}  // namespace

bool parse_log_line(std::string_view line, parsed_line& out) {
    std::string error;
    out = parsed_line();
    out.tree = parse_json(line, error);
    json_object* tree = out.tree.get();
    log_entry& entry = out.entry;
    if (!json_object_is_type(tree, json_type_object) || !parse_time(json_text(tree, "time"), entry.time_ms))
        return false;
    const std::int32_t agent = json_number(tree, "agent");
    if (agent < 0) return false;
    entry.agent = static_cast<unsigned>(agent);
    entry.ap_mac = json_text(tree, "ap-mac");
    if (json_member(tree, "event")) {
        entry.what = log_entry::kind::event;
        out.text = json_text(tree, "event");
    } else {
        const std::string direction = json_text(tree, "direction");
        if (direction != "received" && direction != "sent") return false;
        entry.what = direction == "sent" ? log_entry::kind::sent : log_entry::kind::received;
        entry.message = json_member(tree, "message");
        out.text = json_text(tree, "text");
        if (json_member(tree, "hex") && !parse_hex(json_text(tree, "hex"), out.text)) return false;
    }
    entry.bytes = out.text;
    out.size = out.text.size();
    if (json_member(tree, "size")) out.size = static_cast<std::size_t>(std::max(json_number(tree, "size"), 0));
    return true;
}

bool log_file::open(const std::string& path, std::string& error) {
    fd_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat facts = {};
    if (!fd_ || fstat(fd_.get(), &facts) != 0) {
        error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    if (!S_ISREG(facts.st_mode)) {
        error = path + " is no file";
        return false;
    }
    size_ = static_cast<std::uint64_t>(facts.st_size);
    return true;
}

bool log_file::next_line(std::string& line, std::uint64_t& offset) {
    std::size_t searched = 0;
    while (true) {
        const std::size_t end = buffer_.find('\n', taken_ + searched);
        if (end != std::string::npos) {
            offset = read_;
            line.assign(buffer_, taken_, end - taken_);
            read_ += end + 1 - taken_;
            taken_ = end + 1;
            return true;
        }
        buffer_.erase(0, taken_);
        taken_ = 0;
        if (buffer_.size() > line_limit) {  // what follows is looked at as a line of its own
            read_ += buffer_.size();
            buffer_.clear();
            ++skipped_;
        }
        searched = buffer_.size();
        const std::uint64_t at = read_ + buffer_.size();
        if (at >= size_) return false;
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(chunk_size, size_ - at));
        buffer_.resize(searched + wanted);
        const ssize_t got = pread(fd_.get(), &buffer_[searched], wanted, static_cast<off_t>(at));
        buffer_.resize(searched + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (got <= 0) {
            size_ = at;  // it shrank
            return false;
        }
    }
}

bool log_file::read_next(parsed_line& out) {
    std::string line;
    std::uint64_t offset = 0;
    while (index_.size() < entries_limit && next_line(line, offset)) {
        if (!parse_log_line(line, out)) {
            ++skipped_;
            continue;
        }
        log_entry& entry = out.entry;
        if (!index_.empty()) entry.time_ms = std::max(entry.time_ms, index_.back().time_ms);
        const std::string cmd = entry.what == log_entry::kind::event
                                    ? name_of(kind_of_event(entry.bytes))
                                    : printable(json_text(entry.message, "cmd"), text_limit);
        index_.push_back({offset, entry.time_ms, static_cast<std::uint32_t>(line.size()),
                          static_cast<std::uint32_t>(out.size), entry.agent, 0, number_of(cmd), entry.what, false});
        return true;
    }
    read_ = size_;
    return false;
}

// Names that nobody can count are kept as one.
std::uint16_t log_file::number_of(const std::string& cmd) {
    const std::string& name = cmds_.size() < cmds_limit ? cmd : other;
    const auto known = cmd_numbers_.find(cmd);
    if (known != cmd_numbers_.end()) return known->second;
    const auto fresh = cmd_numbers_.emplace(name, static_cast<std::uint16_t>(cmds_.size()));
    if (fresh.second) cmds_.push_back(name);
    return fresh.first->second;
}

void log_file::set_violation(std::uint64_t of) {
    if (of == 0 || of > index_.size()) return;
    index_.back().of = static_cast<std::uint32_t>(of);
    place_of(of).violates = true;
}

double log_file::loaded() const {
    return size_ == 0 ? 1 : static_cast<double>(std::min(read_, size_)) / static_cast<double>(size_);
}

bool log_file::read(std::uint64_t seq, parsed_line& out) {
    std::string text;
    if (!line(seq, text) || !parse_log_line(text, out)) return false;
    out.entry.time_ms = place_of(seq).time_ms;
    return true;
}

std::uint64_t log_file::count_until(std::int64_t time_ms) const {
    const auto behind = std::upper_bound(index_.begin(), index_.end(), time_ms,
                                         [](std::int64_t time, const place& one) { return time < one.time_ms; });
    return static_cast<std::uint64_t>(behind - index_.begin());
}

bool log_file::outline(std::uint64_t seq, entry_head& out) {
    if (seq == 0 || seq > index_.size()) return false;
    const place& one = place_of(seq);
    out = entry_head();
    out.seq = seq;
    out.time_ms = one.time_ms;
    out.agent = one.agent;
    out.what = one.what;
    out.cmd = cmds_[one.cmd];
    out.size = one.size;
    out.of = one.of;
    out.violates = one.violates;
    return true;
}

bool log_file::head(std::uint64_t seq, entry_head& out) {
    parsed_line parsed;
    if (!read(seq, parsed)) return false;
    out = head_of(seq, parsed);
    return true;
}

entry_head log_file::head_of(std::uint64_t seq, parsed_line& line) const {
    // What the agent wrote, but for blanks.
    if (line.entry.message) line.text = json_compact(line.entry.message);
    line.entry.bytes = line.text;
    entry_head out = make_head(line.entry, seq, place_of(seq).of);
    out.size = line.size;
    out.violates = place_of(seq).violates;
    return out;
}

bool log_file::line(std::uint64_t seq, std::string& out) {
    if (seq == 0 || seq > index_.size()) return false;
    const place& one = place_of(seq);
    out.resize(one.length);
    return pread(fd_.get(), &out[0], one.length, static_cast<off_t>(one.offset)) == static_cast<ssize_t>(one.length);
}

}  // namespace ravd::sim
