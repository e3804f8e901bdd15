// Marks the exported symbols of the shared library; all others are hidden.
#ifndef APPLIST_COMMON_EXPORT_H
#define APPLIST_COMMON_EXPORT_H

/** Before each public class and function. Empty for a compiler without symbol visibility. */
#if defined(__GNUC__)
#define APPLIST_API __attribute__((visibility("default")))
#else
#define APPLIST_API
#endif

/** Before each private function of an exported class: it is no part of the ABI. */
#if defined(__GNUC__)
#define APPLIST_LOCAL __attribute__((visibility("hidden")))
#else
#define APPLIST_LOCAL
#endif

#endif
