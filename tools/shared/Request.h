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

/** "APPLIST_ADD_ITEMS_FNC (2004)"; for an id that is no request, the number alone */
std::string RequestTitle(std::int32_t id);

/** The id of the request that is called "add" in scripts. @return 0 for another word */
std::int32_t RequestIdOf(const std::string& word);

/** The words of all requests, like "select|query". */
std::string RequestWords();

/** The item record that the host reads back. */
std::vector<char> WriteRecord(const ListedItem& item);

#endif
