// "applistctl host": a host on the library's public interface alone.
#ifndef APPLIST_TOOLS_HOSTVERB_H
#define APPLIST_TOOLS_HOSTVERB_H

#include <shared/CommandLine.h>

namespace HostVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace HostVerb

#endif
