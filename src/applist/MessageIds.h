// The requests and notifications that the two sides exchange about the list: one row each. The id
// follows the payload (ipc/MessageFraming.h). A payload consists of item records
// (RemoteAppListItem.h). CONTRIBUTING.md lists the files that a new row concerns.
#ifndef APPLIST_APPLIST_MESSAGEIDS_H
#define APPLIST_APPLIST_MESSAGEIDS_H

#include <climits>

/** The number of records of a request that has no upper limit. */
constexpr int APPLIST_UNLIMITED = INT_MAX;

/**
 * The requests of the host, sent as synchronous messages: X(NAME, ID, MIN, MAX), where MIN and
 * MAX limit the number of records. 2002 is not used.
 */
#define APPLIST_REQUESTS(X)                                                                        \
    X(APPLIST_SET_SELECTION_FNC, 2000, 1, 1) /* the selected item */                               \
    X(APPLIST_GET_SELECTION_FNC, 2001, 0, 0) /* the reply's first record is selected */            \
    X(APPLIST_REMOVE_ALL_ITEMS_FNC, 2003, 0, 0)                                                    \
    X(APPLIST_ADD_ITEMS_FNC, 2004, 1, APPLIST_UNLIMITED)                                           \
    X(APPLIST_ADD_ITEM_AT_END_FNC, 2005, 1, 1) /* the appended item */                             \
    X(APPLIST_SET_CLICKED_FNC, 2006, 1, 1)     /* the clicked item */                              \
    X(APPLIST_REMOVE_ITEM_FNC, 2007, 1, 1)     /* the removed item */                              \
    X(APPLIST_MODIFY_ITEM_FNC, 2008, 2, 2)     /* the old item, then the new item */

/** The notifications of the partner: X(NAME, ID). Their payloads are not read. */
#define APPLIST_NOTIFICATIONS(X)                                                                   \
    X(APPLIST_ITEM_CHANGE_EVENT, 1)                                                                \
    X(APPLIST_ITEM_SELECTION_EVENT, 2)                                                             \
    X(APPLIST_ITEM_CLICKED_EVENT, 3)                                                               \
    X(APPLIST_LOCAL_CREATED_EVENT, 4) /* the partner's list is new and empty */

#define APPLIST_REQUEST_ENUMERATOR(name, id, min, max) name = (id),
#define APPLIST_NOTIFICATION_ENUMERATOR(name, id) name = (id),

enum AppListRequest : int { APPLIST_REQUESTS(APPLIST_REQUEST_ENUMERATOR) };
enum AppListNotification : int { APPLIST_NOTIFICATIONS(APPLIST_NOTIFICATION_ENUMERATOR) };

#undef APPLIST_REQUEST_ENUMERATOR
#undef APPLIST_NOTIFICATION_ENUMERATOR

#endif
