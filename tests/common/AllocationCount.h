// Counts the memory allocations of this program: its malloc family is the test's own.
#pragma once

namespace AllocationCount {

/** False where a sanitizer needs the malloc family for itself. */
bool IsPossible();

/** Allocations of all threads since the program started. */
long Now();

} // namespace AllocationCount
