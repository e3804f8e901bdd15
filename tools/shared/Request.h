// A request of the host, parsed from its bytes.
#ifndef APPLIST_TOOLS_REQUEST_H
#define APPLIST_TOOLS_REQUEST_H

#include <cstdint>
#include <string>
#include <vector>

#include <shared/ItemListing.h>

namespace applistctl {

struct Request {
    std::int32_t id = 0;
    std::string name; ///< empty for an unknown id
    std::vector<ListedItem> items;
    std::string problem; ///< empty for a well-formed request
};

/** Never fails: the result names the problem of a malformed @p message. */
Request ReadRequest(std::vector<char> message);

/** The record of an item, as in a reply. */
std::vector<char> WriteRecord(const ListedItem& item);

} // namespace applistctl

#endif
