#include "CountedMalloc.h"

#include <atomic>
#include <cstddef>

namespace {
std::atomic<long> g_count{0};
}

long CountedMalloc::Count() {
    return g_count;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define APPLIST_TESTS_OTHERS_MALLOC
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define APPLIST_TESTS_OTHERS_MALLOC
#endif
#endif

#ifndef APPLIST_TESTS_OTHERS_MALLOC
// The C library's own names of its functions, for programs that put others in front of them.
extern "C" void* __libc_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier)
extern "C" void* __libc_calloc(std::size_t n,
                               std::size_t size); // NOLINT(bugprone-reserved-identifier)
extern "C" void* __libc_realloc(void* old,
                                std::size_t size); // NOLINT(bugprone-reserved-identifier)

extern "C" void* malloc(std::size_t size) {
    ++g_count;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t n, std::size_t size) {
    ++g_count;
    return __libc_calloc(n, size);
}

extern "C" void* realloc(void* old, std::size_t size) {
    ++g_count;
    return __libc_realloc(old, size);
}
#endif
