// What must hold for every input of a fuzzer.
#pragma once

#include <cstdlib>

inline void check(bool holds) {
    if (!holds) std::abort();
}
