// Counts the memory allocations of this program: its malloc family is the test's own.
#ifndef APPLIST_TESTS_ALLOCATIONCOUNT_H
#define APPLIST_TESTS_ALLOCATIONCOUNT_H

inline namespace applist_test {

namespace AllocationCount {

/** False where a sanitizer needs the malloc family for itself. */
bool IsPossible();

/** Allocations of all threads since the program started. */
long Now();

} // namespace AllocationCount

} // namespace applist_test

#endif
