// "applistctl check host": inspects a running host from outside, and names its fault.
#ifndef APPLIST_TOOLS_CHECKHOSTVERB_H
#define APPLIST_TOOLS_CHECKHOSTVERB_H

#include <shared/CommandLine.h>

namespace applistctl::CheckHostVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace applistctl::CheckHostVerb

#endif
