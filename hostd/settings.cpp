#include "hostd/settings.h"

#include <fcntl.h>
#include <unistd.h>

#include "hostd/lines.h"
#include "platform/unique_fd.h"

namespace ravd::hostd {
namespace {

constexpr int power_limit = 100;  // dBm: beyond any radio

bool take(const std::string& key, const std::string& text, settings& result) {
    if (key[0] == '/') {
        if (key.back() == '/' || key.find("//") != std::string::npos) return false;
        if (key.find("/tx-power") != std::string::npos && number_of(text, power_limit) < 0) return false;
        result.values[plain_path(key)] = text;
    } else if (key == "hostapd_directory") {
        result.hostapd_directory = text;
        return !text.empty() && text[0] == '/';
    } else if (key == "hostapd_config") {
        result.hostapd_files.push_back(text);
        return !text.empty() && text[0] == '/';
    } else {
        return false;
    }
    return true;
}

}  // namespace

bool parse_settings(const std::string& text, settings& result, std::string& error) {
    int number = 0;
    for (const std::string& line : lines_of(text)) {
        ++number;
        if (line.empty() || line[0] == '#') continue;
        const std::size_t equals = line.find('=');
        const bool usable = equals != std::string::npos && equals > 0;
        if (usable && take(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)), result)) continue;
        error = "line " + std::to_string(number) + ": not usable: " + line.substr(0, 80);
        return false;
    }
    return true;
}

bool read_whole_file(const std::string& path, std::string& text, std::size_t limit) {
    text.clear();
    const unique_fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) return false;
    char piece[4096];
    for (;;) {
        const ssize_t size = ::read(file.get(), piece, sizeof piece);
        if (size <= 0) return size == 0;
        text.append(piece, static_cast<std::size_t>(size));
        if (text.size() > limit) return false;
    }
}

}  // namespace ravd::hostd
