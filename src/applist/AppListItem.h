// One entry of the application list.
#ifndef APPLIST_APPLIST_APPLISTITEM_H
#define APPLIST_APPLIST_APPLISTITEM_H

#include <string>

#include "../common/Export.h"

/**
 * An item of the list, implemented by the host. RemoteAppListItem is a ready-made implementation.
 *
 * Two items are the same item when their unique ids are equal byte for byte. The visible name and
 * the address of the object do not count. The visible name and the unique id may hold any bytes
 * except a line feed, which would shift the following fields on their way to the partner.
 *
 * **Lifetime.** Items belong to the host. The library keeps pointers to them, and neither copies
 * nor deletes them. An item must exist until it has been removed, replaced or cleared and is no
 * longer the selection, or until the list's proxy has been destroyed.
 *
 * **Threads.** Any thread that uses the list calls the accessors, and so does the thread that
 * delivers the partner's events. The list's lock is held during these calls, except in SetClicked,
 * which takes no lock. An accessor must not call the list and must not throw. An exception reaches
 * the caller of the list: the list may have changed by then, and the partner receives no request.
 * During an event of the partner, the library catches the exception and logs an error.
 */
class APPLIST_API AppListItem {
public:
    /** @return the name for display. */
    virtual std::string GetVisibleName() = 0;

    /** @return the unique id. The spelling of the function is part of the interface. */
    virtual std::string GetUnigueId() = 0;

    virtual ~AppListItem() = default;
};

#endif
