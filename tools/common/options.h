// Command lines of our programs: a table of options, and the words between them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/number.h"

namespace ravd {

enum class option_value {
    none,
    one,     // the next word, or what follows "=", or directly a letter ("-p80")
    number,  // the next word where it begins with a digit, otherwise none
    rest,    // every word that follows, joined by blanks; at least one
};

struct command_option {
    const char* name;  // "--dir"
    char letter;       // 'd': "-d" means the same; 0 for none
    option_value value;
    const char* wants;  // what a usable value is: "a number from 1 to 10"
    std::function<bool(const std::string& value)> take;
};

command_option flag_option(const char* name, char letter, bool& set);
command_option text_option(const char* name, char letter, std::string& text);
// `wants` says the range in words.
template <typename Integer>
command_option number_option(const char* name, char letter, const char* wants, std::int64_t low, std::int64_t high,
                             Integer& number) {
    return {name, letter, option_value::one, wants,
            [low, high, &number](const std::string& value) { return parse_number(value, low, high, number); }};
}

enum class options_result { run, help, version, wrong };

// Takes the options in their order and gathers the other words; "--" ends the options. "--help", "-h" and "--version"
// are known everywhere. Wrong: `error` is one sentence.
options_result read_options(int argc, const char* const* argv, const std::vector<command_option>& known,
                            std::vector<std::string>& words, std::string& error);

// Says what the result asks for when it is no run: help and version on standard output, what is wrong on standard
// error. The exit status then.
std::optional<int> end_early(options_result result, const char* program, const char* usage, const std::string& error);

}  // namespace ravd
