// Texts of hostapd and of configuration files: lines "KEY=TEXT", words, numbers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravd::hostd {

std::string trimmed(std::string_view text);
// Lines without their ends and outer blanks; empty ones too.
std::vector<std::string> lines_of(std::string_view text);
// Words between blanks.
std::vector<std::string> words_of(std::string_view text);
// What follows "KEY=" at the start of a line; the first such line counts. Empty when there is none.
std::string line_value(std::string_view text, std::string_view key);
// "wlan0-vap1", as some paths of the configuration tree have it, is "wlan0-va1".
std::string plain_path(std::string path);
// A whole text of decimal digits, at most `high`; -1 otherwise.
std::int64_t number_of(std::string_view text, std::int64_t high);

}  // namespace ravd::hostd
