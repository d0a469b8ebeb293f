// Feeds every file of a corpus to a fuzzer's code once.

#include <dirent.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    DIR* directory = argc == 2 ? opendir(argv[1]) : nullptr;
    int count = 0;
    while (const dirent* entry = directory ? readdir(directory) : nullptr) {
        if (entry->d_name[0] == '.') continue;
        const std::string path = std::string(argv[1]) + "/" + entry->d_name;
        std::FILE* file = std::fopen(path.c_str(), "rb");
        if (!file) return std::perror(path.c_str()), 1;
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
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
