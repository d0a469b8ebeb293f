// The shared air as a directory: a file for each access point, written by it alone and read by all others.
#pragma once

#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/unique_fd.h"
#include "sim/ap/event_log.h"
#include "sim/ap/presence.h"
#include "sim/common/event_loop.h"

namespace ravd::sim {

constexpr std::size_t air_size_limit = 512;  // access points that are heard

// BASE.json holds what the access point with this base address is now (twelve hexadecimal digits), replaced whole by a
// rename. BASE.lock is locked for as long as it lives: a file whose lock is free was left behind and counts for
// nothing. What cannot be read, or is no such file, is told once and left out.
class air_directory {
  public:
    // `heard` runs behind a change of what the others are.
    air_directory(event_loop& loop, const event_log& log, std::function<void()> heard);
    ~air_directory();
    air_directory(const air_directory&) = delete;
    air_directory& operator=(const air_directory&) = delete;

    // Makes the directory where it is missing, takes the place of `base` in it, and reads who is there. False with the
    // reason: another process with that address, a directory that others may write to.
    bool open(const std::string& directory, const mac_octets& base, std::string& reason);

    // What this access point is from now on; written only when it differs from before.
    void publish(const presence& what);

    // The others, by base address.
    std::vector<presence> others() const;

  private:
    bool take_place(std::string& reason);
    void watch();
    void look_later();
    void read_events();
    void read_all();
    // False when nothing changed.
    bool read_one(const std::string& name);
    bool drop(const std::string& name, const std::string& reason);
    bool alive(const std::string& name) const;
    bool read_file(const std::string& name, std::string& text, std::string& reason) const;
    void check_locks();
    void check_later();

    event_loop& loop_;
    const event_log& log_;
    std::function<void()> heard_;
    std::string directory_;
    std::string own_;  // name of its files, without what follows the dot
    unique_fd lock_;
    unique_fd watch_;     // none: the directory is looked at now and then
    timespec seen_ = {};  // its last change then
    bool seen_twice_ = false;
    std::string published_;
    struct peer {
        std::string text;
        presence is;
    };
    std::map<std::string, peer> peers_;            // by name
    std::map<std::string, std::string> unusable_;  // name, and why: told once
};

}  // namespace ravd::sim
