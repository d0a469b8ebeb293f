// Lines that people and scripts type, and text that goes to a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ravd::sim {

// Without the blanks, tabs and line ends at both ends.
std::string_view trimmed(std::string_view text);
// Takes the first word off `text`, which then begins with what follows its blank.
std::string_view take_word(std::string_view& text);

// Splits at blanks and tabs. Double quotes keep blanks together, \" and \\ standing for themselves inside; so do the
// brackets of inline JSON at the start of a word or behind "key=". False when a quote or bracket is not closed.
bool split_words(std::string_view text, std::vector<std::string>& words);

// The one of `known` that was probably meant by `word`: one or two letters apart, or none.
std::string nearest(std::string_view word, const std::vector<std::string>& known);

// `text` fit for a terminal: control characters and invalid UTF-8 become '?', at most `limit` bytes.
std::string printable(std::string_view text, std::size_t limit = std::string::npos);

}  // namespace ravd::sim
