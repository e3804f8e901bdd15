// Counts the allocations of the whole program, GLib's and the C library's callers' included.
#ifndef APPLIST_TESTS_COUNTEDMALLOC_H
#define APPLIST_TESTS_COUNTEDMALLOC_H

namespace CountedMalloc {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool COUNTS = false; // the checker has put its own malloc in place
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool COUNTS = false;
#else
constexpr bool COUNTS = true;
#endif
#else
constexpr bool COUNTS = true;
#endif

/** How many allocations there were so far. */
long Count();

} // namespace CountedMalloc

#endif
