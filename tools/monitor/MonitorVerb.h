// "applistctl monitor": shows the messages of host and partner, live or from a capture.
#ifndef APPLIST_TOOLS_MONITORVERB_H
#define APPLIST_TOOLS_MONITORVERB_H

#include <shared/CommandLine.h>

namespace applistctl::MonitorVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace applistctl::MonitorVerb

#endif
