// Text from the air and from the driver on its way into JSON, which must be UTF-8.
#pragma once

#include <cstddef>
#include <string>

namespace ravd {

// Bytes of the UTF-8 sequence that `text` (of `length` bytes) begins with; 0 when it begins with none: stray
// continuation bytes, cut or overlong sequences, surrogates, values above U+10FFFF.
std::size_t utf8_sequence_length(const char* text, std::size_t length);

// True when all of `text` is UTF-8.
bool is_utf8(const char* text, std::size_t length);

// `text` with U+FFFD in place of each byte that belongs to no sequence.
std::string replace_non_utf8(const char* text, std::size_t length);

}  // namespace ravd
