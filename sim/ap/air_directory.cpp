#include "sim/ap/air_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace ravd::sim {
namespace {

constexpr std::int64_t lock_period_ms = 2000;
constexpr std::int64_t look_period_ms = 1000;  // without notifications
constexpr std::int64_t lock_settles_ms = 100;  // the kernel tells of a closed file a moment before it frees its lock
constexpr std::size_t name_size = 12;

std::string name_of(const mac_octets& base) {
    std::string name = mac_text(base);
    name.erase(std::remove(name.begin(), name.end(), ':'), name.end());
    return name;
}

// "02005e100010" of "02005e100010.json"; empty for any other file.
std::string name_before(const std::string& file, const char* ending) {
    if (file.size() != name_size + std::strlen(ending) || file.substr(name_size) != ending) return {};
    const std::string name = file.substr(0, name_size);
    const auto lower_hex = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    return std::all_of(name.begin(), name.end(), lower_hex) ? name : std::string();
}

struct flock whole_file(short kind) {
    struct flock lock {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    return lock;
}

std::string failure(const std::string& path) { return path + ": " + std::strerror(errno); }

bool write_whole(int fd, const std::string& text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const ssize_t n = write(fd, text.data() + at, text.size() - at);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        at += static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

air_directory::air_directory(event_loop& loop, const event_log& log, std::function<void()> heard)
    : loop_(loop), log_(log), heard_(std::move(heard)) {}

air_directory::~air_directory() {
    if (watch_) loop_.forget(watch_.get());
    if (lock_) unlink((directory_ + "/" + own_ + ".json").c_str());
}

bool air_directory::take_place(std::string& reason) {
    const std::string path = directory_ + "/" + own_ + ".lock";
    lock_.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    struct flock lock = whole_file(F_WRLCK);
    // A lock of the open file: asking whether it is held does not take it.
    if (lock_ && fcntl(lock_.get(), F_OFD_SETLK, &lock) == 0) return true;
    const bool taken = lock_ && (errno == EAGAIN || errno == EACCES);
    reason = taken ? directory_ + ": another access point with the address " + own_ + " is there" : failure(path);
    lock_.reset();
    return false;
}

bool air_directory::open(const std::string& directory, const mac_octets& base, std::string& reason) {
    directory_ = directory;
    own_ = name_of(base);
    if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) {
        reason = failure(directory);
        return false;
    }
    struct stat found {};
    if (lstat(directory.c_str(), &found) != 0 || !S_ISDIR(found.st_mode) || found.st_uid != geteuid() ||
        (found.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        reason = directory + ": must be a directory of this user that nobody else can write to";
        return false;
    }
    if (!take_place(reason)) return false;
    watch();
    read_all();
    check_later();
    return true;
}

// A user has 128 of these by default, fewer than a large building has access points.
void air_directory::watch() {
    watch_.reset(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (watch_ && inotify_add_watch(watch_.get(), directory_.c_str(),
                                    IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_DELETE | IN_ONLYDIR) >= 0) {
        loop_.watch(watch_.get(), POLLIN, [this](short) { read_events(); });
        return;
    }
    log_.line("air", "no notifications of %s; it is looked at every second", failure(directory_).c_str());
    watch_.reset();
    look_later();
}

void air_directory::publish(const presence& what) {
    if (!lock_) return;
    std::string text = presence_text(what);
    if (text == published_) return;
    published_ = std::move(text);
    const std::string fresh = directory_ + "/" + own_ + ".new";
    const std::string path = directory_ + "/" + own_ + ".json";
    const unique_fd file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file || !write_whole(file.get(), published_) || rename(fresh.c_str(), path.c_str()) != 0)
        log_.line("air", "%s", failure(path).c_str());  // the next change is the next attempt
}

std::vector<presence> air_directory::others() const {
    std::vector<presence> all;
    for (const auto& [name, one] : peers_)
        all.push_back(one.is);
    return all;
}

void air_directory::read_events() {
    alignas(inotify_event) char buffer[16384];
    std::set<std::string> names;
    bool overrun = false;
    ssize_t length;
    while ((length = read(watch_.get(), buffer, sizeof buffer)) > 0) {
        for (const char* at = buffer; at < buffer + length;) {
            inotify_event event;
            std::memcpy(&event, at, sizeof event);
            if ((event.mask & IN_Q_OVERFLOW) != 0) overrun = true;
            const std::string file = event.len > 0 ? at + sizeof event : "";
            if (const std::string name = name_before(file, ".json"); !name.empty()) names.insert(name);
            if (const std::string name = name_before(file, ".lock"); peers_.count(name) != 0)
                loop_.after(lock_settles_ms, [this] { check_locks(); });
            at += sizeof event + event.len;
        }
    }
    if (overrun) return read_all();
    bool changed = false;
    for (const std::string& name : names)
        changed = read_one(name) || changed;
    if (changed) heard_();
}

void air_directory::read_all() {
    std::set<std::string> names;
    for (const auto& [name, one] : peers_)
        names.insert(name);
    if (DIR* list = opendir(directory_.c_str())) {
        while (const dirent* entry = readdir(list))
            if (std::string name = name_before(entry->d_name, ".json"); !name.empty()) names.insert(std::move(name));
        closedir(list);
    }
    bool changed = false;
    for (const std::string& name : names)
        changed = read_one(name) || changed;
    if (changed) heard_();
}

bool air_directory::alive(const std::string& name) const {
    const std::string path = directory_ + "/" + name + ".lock";
    const unique_fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct flock lock = whole_file(F_WRLCK);
    return file && fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool air_directory::read_file(const std::string& name, std::string& text, std::string& reason) const {
    const std::string path = directory_ + "/" + name + ".json";
    const unique_fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat found {};
    if (!file || fstat(file.get(), &found) != 0) {
        reason = errno == ENOENT ? "" : failure(path);
        return false;
    }
    if (!S_ISREG(found.st_mode) || static_cast<std::size_t>(found.st_size) > presence_text_limit) {
        reason = path + ": no file of at most 512 KiB";
        return false;
    }
    text.resize(static_cast<std::size_t>(found.st_size));
    const ssize_t length = text.empty() ? 0 : read(file.get(), text.data(), text.size());
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return true;
}

bool air_directory::drop(const std::string& name, const std::string& reason) {
    const auto known = peers_.find(name);
    const bool was_there = known != peers_.end();
    if (!reason.empty() && unusable_.size() < air_size_limit && unusable_[name] != reason) {
        unusable_[name] = reason;
        log_.line("air", "%s.json is not heard: %s", name.c_str(), reason.c_str());
    }
    if (!was_there) return false;
    log_.line("air", "\"%s\" is gone", known->second.is.name.c_str());
    peers_.erase(known);
    return true;
}

bool air_directory::read_one(const std::string& name) {
    if (name == own_) return false;
    peer fresh;
    std::string reason;
    if (!read_file(name, fresh.text, reason)) return drop(name, reason);
    if (!alive(name)) return drop(name, "whoever wrote it does not run");
    const auto known = peers_.find(name);
    if (known != peers_.end() && known->second.text == fresh.text) return false;
    if (!parse_presence(fresh.text, fresh.is, reason)) return drop(name, reason);
    if (name_of(fresh.is.base) != name) return drop(name, "base: is not the file's name");
    if (known == peers_.end() && peers_.size() >= air_size_limit) return drop(name, "there are too many");
    unusable_.erase(name);
    if (known == peers_.end()) log_.line("air", "\"%s\" is there, at %s", fresh.is.name.c_str(), name.c_str());
    peers_[name] = std::move(fresh);
    return true;
}

// Every change of a file is a rename, which changes the directory. It is read once more after that, for what came in
// the same moment of a coarse clock.
void air_directory::look_later() {
    loop_.after(look_period_ms, [this] {
        struct stat found {};
        const bool known = stat(directory_.c_str(), &found) == 0 && found.st_mtim.tv_sec == seen_.tv_sec &&
                           found.st_mtim.tv_nsec == seen_.tv_nsec;
        seen_ = found.st_mtim;
        if (!known || !std::exchange(seen_twice_, true)) read_all();
        if (!known) seen_twice_ = false;
        look_later();
    });
}

void air_directory::check_locks() {
    bool changed = false;
    std::vector<std::string> names;
    for (const auto& [name, one] : peers_)
        names.push_back(name);
    for (const std::string& name : names)
        if (!alive(name)) changed = drop(name, "") || changed;
    if (changed) heard_();
}

// For a directory whose events do not come, such as one on another machine.
void air_directory::check_later() {
    loop_.after(lock_period_ms, [this] {
        check_locks();
        check_later();
    });
}

}  // namespace ravd::sim
