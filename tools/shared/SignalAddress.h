// The address from which hosts receive notifications.
#ifndef APPLIST_TOOLS_SIGNALADDRESS_H
#define APPLIST_TOOLS_SIGNALADDRESS_H

#include <string>

namespace applistctl {

/** @return the reason why hosts ignore a SendSignal with this address; empty for the right address.
 */
std::string AddressProblem(const std::string& path, const std::string& interface);

} // namespace applistctl

#endif
