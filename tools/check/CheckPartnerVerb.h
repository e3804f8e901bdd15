// "applistctl check partner": plays the host against a partner, and reports the duties that the
// partner fulfils.
#ifndef APPLIST_TOOLS_CHECKPARTNERVERB_H
#define APPLIST_TOOLS_CHECKPARTNERVERB_H

#include <shared/CommandLine.h>

namespace applistctl::CheckPartnerVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace applistctl::CheckPartnerVerb

#endif
