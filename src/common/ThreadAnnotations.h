// Clang's thread-safety annotations: which mutex guards which field, and the order in which
// mutexes are locked, checked at compile time (-Wthread-safety -Wthread-safety-beta). For other
// compilers, the annotations are empty.
#ifndef APPLIST_COMMON_THREADANNOTATIONS_H
#define APPLIST_COMMON_THREADANNOTATIONS_H

/** One of clang's attributes (its manual: "Thread Safety Analysis"). */
#if defined(__clang__)
#define APPLIST_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define APPLIST_THREAD_ATTRIBUTE(x)
#endif

/** A class whose objects are locks. */
#define APPLIST_CAPABILITY(name) APPLIST_THREAD_ATTRIBUTE(capability(name))
/** A class whose objects hold a lock during their lifetime. */
#define APPLIST_SCOPED_CAPABILITY APPLIST_THREAD_ATTRIBUTE(scoped_lockable)
/** A field that is accessed only with @p mutex held. */
#define APPLIST_GUARDED_BY(mutex) APPLIST_THREAD_ATTRIBUTE(guarded_by(mutex))
/** A mutex that a thread locks after the named ones, if it holds both. */
#define APPLIST_ACQUIRED_AFTER(...) APPLIST_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
/** A mutex that a thread locks before the named ones, if it holds both. */
#define APPLIST_ACQUIRED_BEFORE(...) APPLIST_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
/** A function that acquires the lock: its own, or those named. */
#define APPLIST_ACQUIRE(...) APPLIST_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
/** A function that acquires the lock if it returns the value named first. */
#define APPLIST_TRY_ACQUIRE(...) APPLIST_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
/** A function that releases the lock. */
#define APPLIST_RELEASE(...) APPLIST_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
/** A function that is called with the locks held. */
#define APPLIST_REQUIRES(...) APPLIST_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
/** A function that must not be called with the locks held. */
#define APPLIST_EXCLUDES(...) APPLIST_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
/** A function that the analysis cannot follow. */
#define APPLIST_NO_THREAD_SAFETY_ANALYSIS APPLIST_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif
