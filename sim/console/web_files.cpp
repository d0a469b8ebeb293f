#include "sim/console/web_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace ravd::sim {
namespace {

constexpr std::size_t file_limit = 500;
constexpr int depth_limit = 3;

const char* type_of(std::string_view name) {
    static constexpr std::pair<std::string_view, const char*> types[] = {
        {".html", "text/html; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".ico", "image/x-icon"},
        {".json", "application/json; charset=utf-8"},
        {".woff2", "font/woff2"},
    };
    for (const auto& [ending, type] : types)
        if (name.size() > ending.size() && name.substr(name.size() - ending.size()) == ending) return type;
    return nullptr;
}

bool plain_name(std::string_view name) {
    if (name.empty() || name[0] == '.') return false;
    for (const char c : name)
        if (!std::strchr("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-", c) || c == '\0')
            return false;
    return true;
}

struct directory_release {
    void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

bool web_files::open(const std::string& directory, std::string& error) {
    scan(directory, "/", 0);
    const web_file* index = find("/index.html");
    if (!index) {
        error = "there is no index.html in " + (directory.empty() ? "the directory of the page" : directory);
        return false;
    }
    files_["/"] = *index;
    return true;
}

void web_files::scan(const std::string& directory, const std::string& prefix, int depth) {
    const std::unique_ptr<DIR, directory_release> entries(opendir(directory.c_str()));
    if (!entries || depth > depth_limit) return;
    while (const dirent* entry = readdir(entries.get())) {
        const std::string name = entry->d_name;
        if (!plain_name(name) || files_.size() >= file_limit) continue;
        std::string path = directory;
        path.append("/").append(name);
        std::string url = prefix;
        url.append(name);
        struct stat facts = {};
        if (stat(path.c_str(), &facts) != 0) continue;
        if (S_ISDIR(facts.st_mode))
            scan(path, url.append("/"), depth + 1);
        else
            add(url, path);
    }
}

void web_files::add(const std::string& name, const std::string& path) {
    struct stat facts = {};
    const char* type = type_of(name);
    if (type && stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode)) files_[name] = {path, type};
}

const web_file* web_files::find(const std::string& name) const {
    const auto found = files_.find(name);
    return found == files_.end() ? nullptr : &found->second;
}

std::string installed_web_directory() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || length >= static_cast<ssize_t>(sizeof path)) return "";
    const std::string program(path, static_cast<std::size_t>(length));
    const std::string folder = program.substr(0, program.rfind('/'));
    for (const std::string& candidate : {folder + "/../share/ravd/console", folder + "/share/ravd/console"})
        if (access((candidate + "/index.html").c_str(), R_OK) == 0) return candidate;
    return "";
}

}  // namespace ravd::sim
