// Item streams of requests and replies, read with the code of the library.
#ifndef APPLIST_TOOLS_ITEMSTREAM_H
#define APPLIST_TOOLS_ITEMSTREAM_H

#include <vector>

#include <shared/ItemListing.h>

namespace applistctl::ItemStream {

/** The complete records of @p payload. */
std::vector<ListedItem> Read(const std::vector<char>& payload);

/** Whether a part of a record follows the last complete record. */
bool EndsInsideARecord(const std::vector<char>& payload);

} // namespace applistctl::ItemStream

#endif
