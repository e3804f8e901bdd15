// "applistctl host": a host on the library's public interface alone.
#ifndef APPLIST_TOOLS_HOSTVERB_H
#define APPLIST_TOOLS_HOSTVERB_H

#include <string>
#include <vector>

#include <shared/CommandLine.h>

namespace HostVerb {
Usage Describe();
int Run(const std::vector<std::string>& folders);
} // namespace HostVerb

#endif
