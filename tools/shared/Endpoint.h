// The endpoint id in the names and the object path of the list.
#ifndef APPLIST_TOOLS_ENDPOINT_H
#define APPLIST_TOOLS_ENDPOINT_H

namespace applistctl {

constexpr const char* ENDPOINT_ID = "Applist";

} // namespace applistctl

#endif
