// Clang's thread-safety annotations: which mutex guards which field, checked at compile time
// (-Wthread-safety). They are empty for other compilers.
#ifndef APPLIST_COMMON_THREADANNOTATIONS_H
#define APPLIST_COMMON_THREADANNOTATIONS_H

#if defined(__clang__)
#define APPLIST_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define APPLIST_THREAD_ATTRIBUTE(x)
#endif

#define APPLIST_CAPABILITY(name) APPLIST_THREAD_ATTRIBUTE(capability(name))
#define APPLIST_SCOPED_CAPABILITY APPLIST_THREAD_ATTRIBUTE(scoped_lockable)
#define APPLIST_GUARDED_BY(mutex) APPLIST_THREAD_ATTRIBUTE(guarded_by(mutex))
#define APPLIST_ACQUIRE(...) APPLIST_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define APPLIST_TRY_ACQUIRE(...) APPLIST_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define APPLIST_RELEASE(...) APPLIST_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define APPLIST_REQUIRES(...) APPLIST_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define APPLIST_EXCLUDES(...) APPLIST_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define APPLIST_NO_THREAD_SAFETY_ANALYSIS APPLIST_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif
