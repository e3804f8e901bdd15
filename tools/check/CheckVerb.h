// "applistctl check": checks that this user can run a host on this device, and that a partner
// answers.
#ifndef APPLIST_TOOLS_CHECKVERB_H
#define APPLIST_TOOLS_CHECKVERB_H

#include <shared/CommandLine.h>

namespace applistctl::CheckVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace applistctl::CheckVerb

#endif
