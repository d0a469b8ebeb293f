// What may stand where somebody types a command, taken from its usage text.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ravd::sim {

// What there is of a kind: of "MAC" (a name in capitals) or "channel=" (the value of a key).
using known_things = std::function<std::vector<std::string>(const std::string& kind)>;

// `usage` lists words, "key=..." and names in capitals for a kind of thing; brackets mean that one may be left out,
// "a|b" either, and " | " stands between whole alternatives. `before`: the words behind the command that are typed
// already. `key`: with its '=', when the word being typed is its value; else empty.
std::vector<std::string> completions(const std::string& usage, const std::vector<std::string>& before,
                                     const std::string& key, const known_things& things);

}  // namespace ravd::sim
