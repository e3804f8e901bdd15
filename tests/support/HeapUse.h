// The memory that this process has allocated and not freed.
#pragma once

#include <cstddef>

#include <malloc.h>

inline namespace applist_test {

/** Zero with an allocator that does not count like malloc. */
inline std::size_t HeapInUse() {
#if __GLIBC_PREREQ(2, 33)
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
#else
    // The fields are int, and wrap above 4 GiB.
    const struct mallinfo heap = mallinfo();
    return static_cast<unsigned>(heap.uordblks) + std::size_t{static_cast<unsigned>(heap.hblkhd)};
#endif
}

} // namespace applist_test
