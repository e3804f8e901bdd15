// Reads item streams: item records one after the other, with no count and no separator.
#ifndef APPLIST_APPLIST_ITEMRECORDS_H
#define APPLIST_APPLIST_ITEMRECORDS_H

#include <istream>

#include <applist/RemoteAppListItem.h>

namespace ItemRecords {

/**
 * Reads the next complete record into @p item.
 * @return false when there is none. Meant: an id that ends with the data instead of a line feed
 *         makes no record, although both fields were read; a truncated message must not name an
 *         item, and every record that is written ends with a line feed.
 */
inline bool ReadNext(std::istream& stream, RemoteAppListItem& item) {
    stream >> item;
    return stream.good();
}

} // namespace ItemRecords

#endif
