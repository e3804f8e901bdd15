// Marks what the shared library exports; everything else is hidden.
#ifndef APPLIST_COMMON_EXPORT_H
#define APPLIST_COMMON_EXPORT_H

/** Before each public class and function. Empty where a compiler knows no visibility. */
#if defined(__GNUC__)
#define APPLIST_API __attribute__((visibility("default")))
#else
#define APPLIST_API
#endif

#endif
