#include "platform/portable/bus_registration.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace ravd {
namespace {

constexpr int waiting_connections = 128;

// The address of a socket file. A path too long for an address goes through a descriptor of its directory, which
// `holder` keeps open for as long as the address is used. False with errno set.
bool make_address(const std::string& directory, const std::string& name, sockaddr_un& address, unique_fd& holder) {
    std::string path = directory + "/" + name;
    if (path.size() >= sizeof address.sun_path) {
        holder = unique_fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!holder) return false;
        path = "/proc/self/fd/" + std::to_string(holder.get()) + "/" + name;
    }
    address = sockaddr_un{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

unique_fd make_socket() { return unique_fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)); }

bool fail(std::string& error, const std::string& what) {
    error = what;
    return false;
}

bool fail_errno(std::string& error, const std::string& what) { return fail(error, what + ": " + std::strerror(errno)); }

// Makes the directory one that only its owner can enter. A link, a stranger's directory and one that others could have
// written to are refused.
bool prepare_directory(const std::string& directory, std::string& error) {
    for (std::size_t at = directory.find('/', 1); at != std::string::npos; at = directory.find('/', at + 1))
        (void)::mkdir(directory.substr(0, at).c_str(), 0755);
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        return fail_errno(error, "cannot create " + directory);
    const unique_fd opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (!opened || ::fstat(opened.get(), &info) != 0) return fail_errno(error, "cannot open " + directory);
    if (info.st_uid != ::geteuid()) return fail(error, directory + " belongs to another user");
    if ((info.st_mode & 0022) != 0) return fail(error, directory + " can be written by other users");
    if ((info.st_mode & 0077) != 0 && ::fchmod(opened.get(), 0700) != 0)
        return fail_errno(error, "cannot close " + directory + " to others");
    return true;
}

}  // namespace

bus_registration::bus_registration(std::string directory, int module)
    : directory_(std::move(directory)),
      module_(module),
      lock_path_(directory_ + "/" + std::to_string(module) + ".lock"),
      socket_path_(directory_ + "/" + std::to_string(module) + ".sock") {}

std::unique_ptr<bus_registration> bus_registration::take(const std::string& directory, int module, std::string& error) {
    if (module < 0) {
        error = "a module number cannot be negative";
        return nullptr;
    }
    std::unique_ptr<bus_registration> made(new bus_registration(directory, module));
    return made->lock(error) ? std::move(made) : nullptr;
}

bool bus_registration::lock(std::string& error) {
    if (!prepare_directory(directory_, error)) return false;
    unique_fd opened(::open(lock_path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!opened) return fail_errno(error, "cannot open " + lock_path_);
    if (::flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) return fail_errno(error, "cannot lock " + lock_path_);
        return fail(error, "module " + std::to_string(module_) + " is already registered");
    }
    lock_ = std::move(opened);
    return true;
}

bool bus_registration::lock_visible() const {
    struct stat held {};
    struct stat shown {};
    return ::fstat(lock_.get(), &held) == 0 && ::lstat(lock_path_.c_str(), &shown) == 0 &&
           held.st_ino == shown.st_ino && held.st_dev == shown.st_dev;
}

bool bus_registration::renew(std::string& error) { return lock_visible() || lock(error); }

unique_fd bus_registration::listen() {
    sockaddr_un address;
    unique_fd holder;
    unique_fd listener = make_socket();
    const std::string name = std::to_string(module_) + ".new";
    const std::string path = directory_ + "/" + name;
    if (!listener || !make_address(directory_, name, address, holder)) return unique_fd();
    // Under its own name only once it can be reached: who sees it there may connect. A crash may have left either.
    (void)::unlink(path.c_str());
    struct stat info {};
    if (::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener.get(), waiting_connections) != 0 || ::lstat(path.c_str(), &info) != 0 ||
        ::rename(path.c_str(), socket_path_.c_str()) != 0)
        return unique_fd();
    socket_inode_ = info.st_ino;
    return listener;
}

bool bus_registration::visible() const {
    struct stat info {};
    return ::lstat(socket_path_.c_str(), &info) == 0 && info.st_ino == socket_inode_;
}

void bus_registration::hide() {
    if (visible()) (void)::unlink(socket_path_.c_str());
}

unique_fd bus_registration::connect(const std::string& directory, int module) {
    sockaddr_un address;
    unique_fd holder;
    unique_fd made = make_socket();
    if (!made || !make_address(directory, std::to_string(module) + ".sock", address, holder)) return unique_fd();
    if (::connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return unique_fd();
    return made;
}

bus_place bus_registration::place_of(int module) const {
    struct stat info {};
    if (::lstat((directory_ + "/" + std::to_string(module) + ".sock").c_str(), &info) != 0) return {};
    return {info.st_dev, info.st_ino, info.st_ctim};
}

}  // namespace ravd
