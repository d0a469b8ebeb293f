#include "link/tls_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/unique_fd.h"

namespace ravd {
namespace {

constexpr off_t size_limit = 1024 * 1024;

}  // namespace

bool read_tls_file(const std::string& path, bool secret, std::string& text, std::string& failure) {
    const auto failed = [&failure](const char* reason) {
        failure = reason;
        return false;
    };
    // Without waiting for the writer of a pipe.
    const unique_fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info;
    if (!file || fstat(file.get(), &info) != 0) return failed(std::strerror(errno));
    if (!S_ISREG(info.st_mode)) return failed("not a regular file");
    if (secret && (info.st_mode & S_IRWXO) != 0) return failed("others may use it, take that right away (chmod o=)");
    if (info.st_size > size_limit) return failed("too long");
    text.resize(static_cast<std::size_t>(info.st_size));
    std::size_t filled = 0;
    while (filled < text.size()) {
        const ssize_t n = read(file.get(), &text[filled], text.size() - filled);
        if (n < 0) return failed(std::strerror(errno));
        if (n == 0) break;
        filled += static_cast<std::size_t>(n);
    }
    text.resize(filled);
    return true;
}

}  // namespace ravd
