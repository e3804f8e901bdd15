// "applistctl host": a host that uses only the public interface of the library.
#ifndef APPLIST_TOOLS_HOSTVERB_H
#define APPLIST_TOOLS_HOSTVERB_H

#include <shared/CommandLine.h>

namespace applistctl::HostVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace applistctl::HostVerb

#endif
