// An item as a plain value, and its form on the wire.
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
 * The stream operators write and read the item record that travels to the partner: the bytes of the
 * visible name, a line feed (0x0A), the bytes of the unique id, a line feed. Nothing is escaped,
 * and there is no character set. A list is the concatenation of its records. Clock with the id
 * clock.01:
 *
 *     43 6C 6F 63 6B 0A 63 6C 6F 63 6B 2E 30 31 0A
 *
 * An object is a plain value without a lock: one that the list holds must not be changed while
 * another thread uses the list.
 */
class APPLIST_API RemoteAppListItem : public AppListItem {
public:
    RemoteAppListItem() = default;

    /**
     * Takes a snapshot of any item: first its visible name, then its unique id. Nothing of @p other
     * is kept; what its accessors throw goes to the caller.
     */
    RemoteAppListItem(AppListItem& other); // NOLINT(google-explicit-constructor): a conversion
    /** Takes a snapshot in the same way. When the second accessor throws, the name has changed. */
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
     * Reads one item record. Reads nothing from a stream that has any of badbit, eofbit and failbit
     * set, and leaves the id as it was when the name reaches the end of the stream. A record is
     * complete only when the stream is still good() afterwards. @return @p is
     */
    friend APPLIST_API std::istream& operator>>(std::istream& is, RemoteAppListItem& item);

private:
    std::string m_visibleName;
    std::string m_uniqueId;
};

#endif
