// "applistctl partner": stands in for the partner process, and is the example of its duties.
#ifndef APPLIST_TOOLS_PARTNERVERB_H
#define APPLIST_TOOLS_PARTNERVERB_H

#include <string>
#include <vector>

#include <shared/CommandLine.h>

namespace PartnerVerb {
Usage Describe();
int Run(const std::vector<std::string>& arguments);
} // namespace PartnerVerb

#endif
