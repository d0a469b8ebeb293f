#include "driver/device_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/formatted.h"
#include "platform/system.h"
#include "platform/unique_fd.h"

namespace ravd {
namespace {

unique_fd open_device_file(const std::string& path, int flags) {
    return unique_fd(path.empty() ? -1 : open(sys::device_path(path.c_str()).c_str(), flags | O_CLOEXEC, 0644));
}

}  // namespace

bool read_device_file(const std::string& path, std::string& text, std::size_t limit) {
    text.clear();
    const unique_fd fd = open_device_file(path, O_RDONLY);
    if (!fd) return false;
    char piece[1024];
    ssize_t got = 0;
    while (text.size() < limit) {
        got = read(fd.get(), piece, std::min(sizeof piece, limit - text.size()));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        text.append(piece, static_cast<std::size_t>(got));
    }
    return true;
}

bool write_device_file(const std::string& path, const std::string& text) {
    const unique_fd fd = open_device_file(path, O_RDWR | O_CREAT | O_TRUNC);
    if (!fd) return false;
    const ssize_t written = write(fd.get(), text.data(), text.size());
    (void)written;
    return true;
}

std::string interface_file(const char* directory, const char* ifname, const char* file) {
    if (!ifname || std::strchr(ifname, '/') || std::strcmp(ifname, "..") == 0) {
        errno = ENOENT;
        return {};
    }
    return formatted("%s%s%s", directory, ifname, file);
}

}  // namespace ravd
