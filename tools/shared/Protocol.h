// The requests and notifications as the tools name them: the library's rows, each with its word.
// Names, decoder, checklist and documentation come from these tables or are compared with them.
#ifndef APPLIST_TOOLS_PROTOCOL_H
#define APPLIST_TOOLS_PROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <applist/MessageIds.h>

namespace applistctl {

/** A request of the host. */
struct RequestKind {
    AppListRequest id;
    const char* name; ///< "APPLIST_ADD_ITEMS_FNC"
    const char* word; ///< in scripts and checklists: "add"
    std::size_t minRecords;
    std::size_t maxRecords;
};

/** A notification of the partner. */
struct NotificationKind {
    AppListNotification id;
    const char* name;     ///< "APPLIST_ITEM_CLICKED_EVENT"
    const char* word;     ///< in checklists: "click"
    const char* occasion; ///< the partner's duty is to send it then: "when its user clicks an item"
};

namespace Protocol {

constexpr const char* WordOf(AppListRequest id) {
    switch (id) {
    case APPLIST_SET_SELECTION_FNC:
        return "select";
    case APPLIST_GET_SELECTION_FNC:
        return "query";
    case APPLIST_REMOVE_ALL_ITEMS_FNC:
        return "clear";
    case APPLIST_ADD_ITEMS_FNC:
        return "add";
    case APPLIST_ADD_ITEM_AT_END_FNC:
        return "append";
    case APPLIST_SET_CLICKED_FNC:
        return "click";
    case APPLIST_REMOVE_ITEM_FNC:
        return "remove";
    case APPLIST_MODIFY_ITEM_FNC:
        return "modify";
    }
    return nullptr;
}

constexpr NotificationKind Describe(AppListNotification id, const char* name) {
    switch (id) {
    case APPLIST_ITEM_CHANGE_EVENT:
        return {id, name, "change", "when its list changes"};
    case APPLIST_ITEM_SELECTION_EVENT:
        return {id, name, "selection", "when its user selects an item"};
    case APPLIST_ITEM_CLICKED_EVENT:
        return {id, name, "click", "when its user clicks an item"};
    case APPLIST_LOCAL_CREATED_EVENT:
        return {id, name, "created", "after each handshake"};
    }
    return {id, name, nullptr, nullptr};
}

#define APPLIST_REQUEST_KIND(name, id, min, max) {name, #name, WordOf(name), min, max},
#define APPLIST_NOTIFICATION_KIND(name, id) Describe(name, #name),

constexpr RequestKind REQUESTS[] = {APPLIST_REQUESTS(APPLIST_REQUEST_KIND)};
constexpr NotificationKind NOTIFICATIONS[] = {APPLIST_NOTIFICATIONS(APPLIST_NOTIFICATION_KIND)};

#undef APPLIST_REQUEST_KIND
#undef APPLIST_NOTIFICATION_KIND

/** @return null for an id that is no request */
const RequestKind* FindRequest(std::int32_t id);

/** @return null for a word of no request */
const RequestKind* FindRequest(const std::string& word);

/** @return null for an id that is no notification */
const NotificationKind* FindNotification(std::int32_t id);

/** "APPLIST_ADD_ITEMS_FNC (2004)"; the number alone for an id that is no request */
std::string RequestTitle(std::int32_t id);

/** The words of all requests: "select|query|..." */
std::string RequestWords();

} // namespace Protocol

} // namespace applistctl

#endif
