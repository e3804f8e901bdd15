// The ids of the requests and notifications that the two sides exchange about the list. Each
// travels behind its payload (ipc/MessageFraming.h); the payloads are item records
// (RemoteAppListItem.h).
#ifndef APPLIST_APPLIST_MESSAGEIDS_H
#define APPLIST_APPLIST_MESSAGEIDS_H

/** Requests of this side, sent as synchronous messages. 2002 is not used. */
enum AppListRequest : int {
    APPLIST_SET_SELECTION_FNC = 2000,    ///< one record: the selected item
    APPLIST_GET_SELECTION_FNC = 2001,    ///< no payload; the reply's first record is the selection
    APPLIST_REMOVE_ALL_ITEMS_FNC = 2003, ///< no payload
    APPLIST_ADD_ITEMS_FNC = 2004,        ///< any number of records
    APPLIST_ADD_ITEM_AT_END_FNC = 2005,  ///< one record: the appended item
    APPLIST_SET_CLICKED_FNC = 2006,      ///< one record: the clicked item
    APPLIST_REMOVE_ITEM_FNC = 2007,      ///< one record: the removed item
    APPLIST_MODIFY_ITEM_FNC = 2008       ///< two records: the old item, then the new one
};

/** Notifications of the partner. Their payloads are not read. */
enum AppListNotification : int {
    APPLIST_ITEM_CHANGE_EVENT = 1,
    APPLIST_ITEM_SELECTION_EVENT = 2,
    APPLIST_ITEM_CLICKED_EVENT = 3,
    APPLIST_LOCAL_CREATED_EVENT = 4 ///< the partner's list is new and wants to be filled
};

#endif
