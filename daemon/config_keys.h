// The keys of the agent configuration file, and what may be wrong with their values.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ravd {

struct config_key {
    const char* name;
    // What is wrong with a value, as a part of a sentence; empty: nothing.
    std::string (*judge)(std::string_view value);
};

constexpr std::size_t config_key_count = 11;
extern const config_key config_keys[config_key_count];

// Without regard to case, as the daemon reads them; null: no such key.
const config_key* find_config_key(std::string_view name);
// What to say of a key that there is not: with the nearest one, if one is near.
std::string judge_unknown_key(std::string_view name);

std::string_view without_blanks(std::string_view text);
// In quotes, at most 60 bytes of it, control characters replaced.
std::string quoted_text(std::string_view text);

}  // namespace ravd
