// Decimal numbers in texts from outside.
#pragma once

namespace ravd {

// Reads a number as "%d" does, clamped to 32 bits, and returns what follows it. Null, with `value` untouched, when
// there is none. A null text is an empty one.
const char* read_decimal(const char* text, int& value);

}  // namespace ravd
