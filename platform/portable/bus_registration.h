// One module number in the bus's directory: its lock, its socket, and the way to the sockets of others.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "platform/unique_fd.h"

namespace ravd {

// Tells the socket that a module shows from the one that it, or another, shows later under the same name.
struct bus_place {
    dev_t device = 0;
    ino_t inode = 0;  // 0: there is none
    timespec changed{};

    bool operator==(const bus_place& other) const {
        return device == other.device && inode == other.inode && changed.tv_sec == other.changed.tv_sec &&
               changed.tv_nsec == other.changed.tv_nsec;
    }
};

// The lock N.lock is held (flock) as long as the object lives; it alone decides who owns N.sock, so that a socket
// left behind by a crash is simply replaced. The lock file stays: removing it would let two owners hold two files.
class bus_registration {
  public:
    // Creates the directory where needed and takes the lock. Null when the number is taken, the directory is not ours
    // alone, or a call failed; `error` then says why.
    static std::unique_ptr<bus_registration> take(const std::string& directory, int module, std::string& error);
    // Takes the lock again when its file is no longer the one in the directory (somebody cleared it away).
    bool renew(std::string& error);

    // A listening socket under the number, not blocking. No descriptor on failure, with errno set.
    unique_fd listen();
    // Whether the directory still shows the socket of the last listen().
    bool visible() const;
    // Removes the socket's name, unless another socket has it by now.
    void hide();
    // A socket connected to another module, not blocking. No descriptor on failure, with errno set; EAGAIN: its queue
    // of waiting connections is full.
    unique_fd connect(int module) const { return connect(directory_, module); }
    static unique_fd connect(const std::string& directory, int module);
    bus_place place_of(int module) const;

    int module() const { return module_; }

  private:
    bus_registration(std::string directory, int module);
    bool lock(std::string& error);
    bool lock_visible() const;

    std::string directory_;
    int module_;
    std::string lock_path_;
    std::string socket_path_;  // kept, since visible() is asked on every turn of a worker and must not allocate
    unique_fd lock_;
    unsigned long long socket_inode_ = 0;
};

}  // namespace ravd
