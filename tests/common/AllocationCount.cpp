#include "AllocationCount.h"

#include <atomic>
#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) ||                         \
    __has_feature(memory_sanitizer)
#define APPLIST_TESTS_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define APPLIST_TESTS_SANITIZED
#endif

#if defined(__GLIBC__) && !defined(APPLIST_TESTS_SANITIZED)

namespace {
std::atomic<long> g_count{0};
} // namespace

extern "C" {

// glibc's internal names of its malloc family.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
    ++g_count;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++g_count;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    ++g_count;
    return __libc_realloc(memory, size);
}
// NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
}

bool AllocationCount::IsPossible() {
    return true;
}

long AllocationCount::Now() {
    return g_count;
}

#else

bool AllocationCount::IsPossible() {
    return false;
}

long AllocationCount::Now() {
    return 0;
}

#endif
