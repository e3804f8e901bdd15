// One entry of the application list, as its owner sees it.
#ifndef APPLIST_APPLIST_APPLISTITEM_H
#define APPLIST_APPLIST_APPLISTITEM_H

#include <string>

#include "../common/Export.h"

/**
 * An item of the list, implemented by the host (or taken ready-made: RemoteAppListItem).
 *
 * Two items are the same item when their unique ids are equal byte for byte; neither the visible
 * name nor the address counts. Both texts are arbitrary bytes, except that a line feed in either
 * cannot be carried to the partner: it shifts the fields behind it.
 *
 * **Lifetime.** Items belong to the host. The library keeps pointers to them, never copies and
 * never deletes: keep an item alive until it has been removed, replaced or cleared, and the
 * selection has moved away from it, or until the list's proxy is gone.
 *
 * **Threads.** The accessors are called on any thread that uses the list and on the thread that
 * delivers the partner's events, with the list's lock held: they must not call back into the list
 * and must not throw. What one throws reaches the caller, with the list changed and the partner not
 * told.
 */
class APPLIST_API AppListItem {
public:
    /** @return the name that a user sees. */
    virtual std::string GetVisibleName() = 0;

    /** @return the item's identity. The spelling is part of the interface. */
    virtual std::string GetUnigueId() = 0;

    virtual ~AppListItem() = default;
};

#endif
