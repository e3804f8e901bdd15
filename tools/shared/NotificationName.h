// The notifications by name, for who shows them.
#ifndef APPLIST_TOOLS_NOTIFICATIONNAME_H
#define APPLIST_TOOLS_NOTIFICATIONNAME_H

#include <cstdint>

#include <applist/MessageIds.h>

/** @return null for an id that is no notification */
constexpr const char* NotificationName(std::int32_t id) {
    switch (id) {
    case APPLIST_ITEM_CHANGE_EVENT:
        return "APPLIST_ITEM_CHANGE_EVENT";
    case APPLIST_ITEM_SELECTION_EVENT:
        return "APPLIST_ITEM_SELECTION_EVENT";
    case APPLIST_ITEM_CLICKED_EVENT:
        return "APPLIST_ITEM_CLICKED_EVENT";
    case APPLIST_LOCAL_CREATED_EVENT:
        return "APPLIST_LOCAL_CREATED_EVENT";
    default:
        return nullptr;
    }
}

#endif
