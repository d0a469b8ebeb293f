#include "platform/factory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/system.h"
#include "platform/unique_fd.h"

namespace {

constexpr std::size_t file_limit = 4096;  // what stands behind it is not looked at

std::string_view trimmed(std::string_view text) {
    constexpr const char* blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

struct field {
    std::string_view key;
    char (factory_data::*text)[32];
};
constexpr field fields[] = {{"board", &factory_data::board},
                            {"hw", &factory_data::hw},
                            {"serial", &factory_data::serial},
                            {"mac", &factory_data::mac}};

// True when the line set a field. A text longer than its field is cut.
bool take_line(std::string_view line, factory_data& data) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return false;
    const std::string_view key = trimmed(line.substr(0, equals));
    const std::string_view value = trimmed(line.substr(equals + 1));
    for (const field& f : fields) {
        if (f.key != key) continue;
        char(&text)[32] = data.*f.text;
        std::memset(text, 0, sizeof text);
        value.copy(text, sizeof text);
        return true;
    }
    return false;
}

}  // namespace

int factory_data_load(factory_data* data) {
    if (!data) return -1;
    *data = {};
    const std::string path = ravd::sys::device_path("/etc/ravd/factory");
    const ravd::unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) return -1;
    char contents[file_limit];
    std::size_t size = 0;
    ssize_t got = 0;
    while (size < sizeof contents && (got = read(fd.get(), contents + size, sizeof contents - size)) > 0)
        size += static_cast<std::size_t>(got);

    bool found = false;
    std::string_view rest(contents, size);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        found |= take_line(rest.substr(0, end), *data);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return found ? 0 : -1;
}
