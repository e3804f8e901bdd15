// Item records one after the other, as requests and replies carry them, read with the library's own
// code.
#ifndef APPLIST_TOOLS_ITEMSTREAM_H
#define APPLIST_TOOLS_ITEMSTREAM_H

#include <vector>

#include <shared/ItemListing.h>

namespace ItemStream {

/** The complete records of @p payload. */
std::vector<ListedItem> Read(const std::vector<char>& payload);

/** Whether there is a piece of a record behind the last complete one. */
bool EndsInsideARecord(const std::vector<char>& payload);

} // namespace ItemStream

#endif
