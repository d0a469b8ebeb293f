// Lines of words.
#pragma once

#include <string>
#include <vector>

namespace ravd::sim {

// What stands between blanks and tabs.
inline std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    for (std::size_t at = 0; (at = line.find_first_not_of(" \t", at)) != std::string::npos;) {
        const std::size_t end = line.find_first_of(" \t", at);
        words.push_back(line.substr(at, end == std::string::npos ? end : end - at));
        if (end == std::string::npos) break;
        at = end;
    }
    return words;
}

}  // namespace ravd::sim
