// Feeds every file of some directories to a fuzzer's code once.

#include <dirent.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

// The number of its files; -1 when one cannot be read.
int feed(const std::string& path) {
    DIR* directory = opendir(path.c_str());
    if (!directory) std::perror(path.c_str());
    int count = directory ? 0 : -1;
    while (const dirent* entry = directory && count >= 0 ? readdir(directory) : nullptr) {
        if (entry->d_name[0] == '.') continue;
        std::FILE* file = std::fopen((path + "/" + entry->d_name).c_str(), "rb");
        if (!file) {
            std::perror(entry->d_name);
            count = -1;
            continue;
        }
        std::string bytes;
        char piece[4096];
        while (const std::size_t n = std::fread(piece, 1, sizeof piece, file))
            bytes.append(piece, n);
        std::fclose(file);
        // A block of its own size, so that reading beyond it is seen.
        const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
        std::fprintf(stderr, "%s\n", entry->d_name);
        LLVMFuzzerTestOneInput(input.data(), input.size());
        ++count;
    }
    if (directory) closedir(directory);
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    int sum = 0;
    for (int i = 1; i < argc; ++i) {
        const int count = feed(argv[i]);
        if (count < 0) return 1;
        sum += count;
    }
    std::printf("%d inputs\n", sum);
    return sum > 0 ? 0 : 1;
}
