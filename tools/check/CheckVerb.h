// "applistctl check": whether this user may be a host on this device, and whether there is a
// partner.
#ifndef APPLIST_TOOLS_CHECKVERB_H
#define APPLIST_TOOLS_CHECKVERB_H

#include <shared/CommandLine.h>

namespace CheckVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace CheckVerb

#endif
