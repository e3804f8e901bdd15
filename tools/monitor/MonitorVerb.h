// "applistctl monitor": shows the messages of host and partner, live or from a capture.
#ifndef APPLIST_TOOLS_MONITORVERB_H
#define APPLIST_TOOLS_MONITORVERB_H

#include <shared/CommandLine.h>

namespace applistctl {

namespace MonitorVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace MonitorVerb

} // namespace applistctl

#endif
