// "applistctl partner": replaces the partner process in tests, and is the example of its duties.
#ifndef APPLIST_TOOLS_PARTNERVERB_H
#define APPLIST_TOOLS_PARTNERVERB_H

#include <shared/CommandLine.h>

namespace applistctl::PartnerVerb {
Usage Describe();
int Run(const CommandLine& line);
} // namespace applistctl::PartnerVerb

#endif
