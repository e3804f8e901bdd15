// Which endpoint the program stands in for: the names and the path that a host's list uses.
#ifndef APPLIST_TOOLS_ENDPOINT_H
#define APPLIST_TOOLS_ENDPOINT_H

constexpr const char* ENDPOINT_ID = "Applist";

#endif
