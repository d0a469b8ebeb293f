// Who is on the bus.
#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

#include "platform/portable/bus_registration.h"
#include "tools/bus/attach.h"
#include "tools/bus/output.h"

namespace ravd {
namespace {

// Who holds which file locked, by inode. The kernel's list is read, since trying a lock could refuse its number to a
// module that registers at this very moment.
std::map<unsigned long long, int> read_lock_holders() {
    std::map<unsigned long long, int> holders;
    std::FILE* file = std::fopen("/proc/locks", "re");
    char line[256];
    while (file && std::fgets(line, sizeof line, file)) {
        int process = 0;
        unsigned long long inode = 0;
        if (std::sscanf(line, "%*d: FLOCK ADVISORY WRITE %d %*x:%*x:%llu", &process, &inode) == 2)
            holders[inode] = process;
    }
    if (file) std::fclose(file);
    return holders;
}

std::string program_name(int process) {
    char name[64] = "";
    std::FILE* file = std::fopen(("/proc/" + std::to_string(process) + "/comm").c_str(), "re");
    if (file && std::fgets(name, sizeof name, file)) name[std::strcspn(name, "\n")] = '\0';
    if (file) std::fclose(file);
    return name;
}

}  // namespace

int list_modules(const options& chosen) {
    DIR* directory = ::opendir(chosen.directory.c_str());
    if (!directory) {
        complain("cannot read " + chosen.directory + ": " + std::strerror(errno));
        return 1;
    }
    std::map<int, unsigned long long> locks;  // module number to inode
    while (const dirent* entry = ::readdir(directory)) {
        const std::string name = entry->d_name;
        const std::size_t end = name.find(".lock");
        struct stat info {};
        if (end == std::string::npos || end + 5 != name.size() || parse_module(name.substr(0, end)) < 0) continue;
        if (::lstat((chosen.directory + "/" + name).c_str(), &info) == 0)
            locks[parse_module(name.substr(0, end))] = info.st_ino;
    }
    ::closedir(directory);
    const auto holders = read_lock_holders();
    std::string out;
    for (const auto& [module, inode] : locks) {
        const auto holder = holders.find(inode);
        if (holder == holders.end()) continue;
        const bool serves = ::access((chosen.directory + "/" + std::to_string(module) + ".sock").c_str(), F_OK) == 0;
        out += std::to_string(module) + (serves ? " exchanges " : " rests ") + std::to_string(holder->second) + " " +
               program_name(holder->second) + "\n";
    }
    return print(out) ? 0 : 1;
}

}  // namespace ravd
