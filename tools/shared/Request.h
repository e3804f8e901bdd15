// A request of the host, taken out of its bytes.
#ifndef APPLIST_TOOLS_REQUEST_H
#define APPLIST_TOOLS_REQUEST_H

#include <cstdint>
#include <string>
#include <vector>

#include <shared/ItemListing.h>

struct Request {
    std::int32_t id = 0;
    std::string name; ///< empty for an id that is no request
    std::vector<ListedItem> items;
    std::string problem; ///< empty for a request that is well formed
};

/** Never fails: what is wrong with @p message is in the result's problem. */
Request ReadRequest(std::vector<char> message);

/** The item record that the host reads back. */
std::vector<char> WriteRecord(const ListedItem& item);

#endif
