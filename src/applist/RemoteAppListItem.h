// An item as a plain value, and its serial form.
#ifndef APPLIST_APPLIST_REMOTEAPPLISTITEM_H
#define APPLIST_APPLIST_REMOTEAPPLISTITEM_H

#include <istream>
#include <ostream>
#include <string>

#include "../common/Export.h"
#include "AppListItem.h"

/**
 * An item that holds its name and id by value. Both are empty after default construction.
 *
 * The stream operators write and read the item record that is sent to the partner: the bytes of the
 * visible name, a line feed (0x0A), the bytes of the unique id, a line feed. Nothing is escaped,
 * and there is no character set. An item stream is the concatenation of records. The item "Clock"
 * with the id "clock.01":
 *
 *     43 6C 6F 63 6B 0A 63 6C 6F 63 6B 2E 30 31 0A
 *
 * An object is a plain value without a lock. An object in the list must not be changed while
 * another thread uses the list.
 */
class APPLIST_API RemoteAppListItem : public AppListItem {
public:
    RemoteAppListItem() = default;

    /**
     * Copies the texts of any item: first its visible name, then its unique id. Keeps no reference
     * to @p other. An exception of its accessors reaches the caller.
     */
    RemoteAppListItem(AppListItem& other); // NOLINT(google-explicit-constructor): a conversion
    /** Copies in the same way. If the second accessor throws, the name has already changed. */
    RemoteAppListItem& operator=(AppListItem& other);

    /** Copies both texts. */
    RemoteAppListItem(const RemoteAppListItem&) = default;
    /** Copies both texts. */
    RemoteAppListItem& operator=(const RemoteAppListItem&) = default;

    std::string GetVisibleName() override;
    std::string GetUnigueId() override;

    ~RemoteAppListItem() override = default;

    /** Writes one item record, each line feed with a flush. @return @p os */
    friend APPLIST_API std::ostream& operator<<(std::ostream& os, const RemoteAppListItem& item);

    /**
     * Reads one item record. Reads nothing from a stream with badbit, eofbit or failbit set. If the
     * name reaches the end of the stream, the id keeps its value. A record is complete only if the
     * stream is good() afterwards.
     * @return @p is
     */
    friend APPLIST_API std::istream& operator>>(std::istream& is, RemoteAppListItem& item);

private:
    std::string m_visibleName;
    std::string m_uniqueId;
};

#endif
