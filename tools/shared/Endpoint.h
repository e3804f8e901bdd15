// The endpoint id in the names and the object path of the list.
#ifndef APPLIST_TOOLS_ENDPOINT_H
#define APPLIST_TOOLS_ENDPOINT_H

constexpr const char* ENDPOINT_ID = "Applist";

#endif
