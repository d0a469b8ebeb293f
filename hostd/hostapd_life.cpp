#include "hostd/hostapd_life.h"

#include <sys/stat.h>

#include <algorithm>

#include "core/logger.h"

namespace ravd::hostd {
namespace {

// A radio may take long until it is on the air (it looks for radar, or for a channel): the others are not kept waiting.
constexpr std::int64_t patience_ms = 5000;
constexpr std::int64_t refresh_ms = 5000;

// Which file it is and when it was written; empty where there is none, as for a moment while another is put in its
// place.
std::string stamp_of(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return {};
    return std::to_string(info.st_ino) + " " + std::to_string(info.st_size) + " " +
           std::to_string(info.st_mtim.tv_sec) + " " + std::to_string(info.st_mtim.tv_nsec);
}

}  // namespace

bool hostapd_life::take(vap& of, const std::string& event) {
    static constexpr const char* changes[] = {"AP-ENABLED", "AP-DISABLED", "INTERFACE-ENABLED", "INTERFACE-DISABLED",
                                              "CTRL-EVENT-TERMINATING"};
    const std::string word = event.substr(0, event.find(' '));
    if (std::find(std::begin(changes), std::end(changes), word) == std::end(changes)) return false;
    log_info(process_log, "%s: %s\n", of.name().c_str(), word.c_str());
    of.refresh();
    return true;
}

void hostapd_life::read_config(int process) {
    auto files = own_.hostapd_files;
    if (files.empty()) files = files_of_command_line(command_line_of(process));
    config_.clear();
    files_.clear();
    for (const std::string& file : files) {
        std::string text;
        files_[file] = stamp_of(file);
        if (read_whole_file(file, text))
            config_.add(text);
        else
            log_warning(process_log, "hostapd's configuration %s cannot be read\n", file.c_str());
    }
    for (const auto& one : vaps_.all())
        if (one->attached() && !config_.has(one->name()))
            log_warning(process_log, "%s: no configuration file of hostapd is known for it (hostapd_config=)\n",
                        one->name().c_str());
}

void hostapd_life::refresh(std::int64_t now_ms) {
    if (now_ms < next_refresh_ms_ || vaps_.all().empty()) return;
    next_refresh_ms_ = now_ms + refresh_ms;
    vap& next = *vaps_.all()[refreshed_++ % vaps_.all().size()];
    if (next.attached()) next.refresh();
    for (const auto& [path, stamp] : files_) {
        const std::string current = stamp_of(path);
        if (!current.empty() && current != stamp) untold_ = true;
    }
}

bool hostapd_life::settled(std::int64_t now_ms) const {
    const auto on_air = [](const auto& one) { return !one->attached() || one->description().enabled; };
    return now_ms - changed_ms_ >= patience_ms || std::all_of(vaps_.all().begin(), vaps_.all().end(), on_air);
}

void hostapd_life::look(std::int64_t now_ms) {
    vaps_.look();
    int process = 0;
    std::map<std::string, seen> now;
    for (const auto& one : vaps_.all()) {
        one->follow();
        if (one->process() != 0) process = one->process();
        if (one->description().enabled) now[one->name()] = {one->description(), one->process()};
    }
    refresh(now_ms);
    pid_file_.follow(process);
    for (auto one = announced_.begin(); one != announced_.end();) {
        if (now.count(one->first) != 0) {
            ++one;
            continue;
        }
        tell_.ended(one->first);
        untold_ = true;
        one = announced_.erase(one);
    }
    const auto is_known = [](const auto& a, const auto& b) {
        return a.first == b.first && a.second.process == b.second.process &&
               a.second.description == b.second.description;
    };
    const bool same = std::equal(now.begin(), now.end(), announced_.begin(), announced_.end(), is_known);
    // Without a process the pid file says it all.
    if (process == 0) untold_ = false;
    if (!untold_ && (same || now.empty())) {
        changed_ms_ = 0;
        return;
    }
    if (changed_ms_ == 0) changed_ms_ = now_ms;
    if (!settled(now_ms)) return;
    read_config(process);
    for (const auto& [name, fresh] : now) {
        const auto before = announced_.find(name);
        const bool anew = before == announced_.end() || before->second.process != fresh.process;
        tell_.began(*vaps_.find(name), anew);
    }
    announced_ = std::move(now);
    changed_ms_ = 0;
    untold_ = false;
    raise_notice("hostapd_started");
    log_info(process_log, "hostapd, process %d, has %zu VAPs on the air\n", process, announced_.size());
}

}  // namespace ravd::hostd
