// Counts what a test's program allocates; linked as ravd_allocations.
#pragma once

namespace ravd::testing {

// How often this thread has allocated so far, by operator new.
long allocations();

}  // namespace ravd::testing
