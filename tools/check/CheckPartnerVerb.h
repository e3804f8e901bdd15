// "applistctl check partner": plays the host against a partner that nobody knows yet, and says
// which of its duties it fulfils.
#ifndef APPLIST_TOOLS_CHECKPARTNERVERB_H
#define APPLIST_TOOLS_CHECKPARTNERVERB_H

#include <shared/CommandLine.h>

namespace CheckPartnerVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace CheckPartnerVerb

#endif
