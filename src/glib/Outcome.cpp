// The outcomes of requests as an enumeration of GObject.
#include <applist/AppListClient.h>
#include <applist/applist-glib.h>

static_assert(APPLIST_OUTCOME_ANSWERED == static_cast<int>(AppListClient::ANSWERED));
static_assert(APPLIST_OUTCOME_MERGED == static_cast<int>(AppListClient::MERGED));
static_assert(APPLIST_OUTCOME_NO_PARTNER == static_cast<int>(AppListClient::NO_PARTNER));
static_assert(APPLIST_OUTCOME_REJECTED == static_cast<int>(AppListClient::REJECTED));
static_assert(APPLIST_OUTCOME_FAILED == static_cast<int>(AppListClient::FAILED));

GType applist_outcome_get_type() {
    static const GEnumValue values[] = {
        {APPLIST_OUTCOME_ANSWERED, "APPLIST_OUTCOME_ANSWERED", "answered"},
        {APPLIST_OUTCOME_MERGED, "APPLIST_OUTCOME_MERGED", "merged"},
        {APPLIST_OUTCOME_NO_PARTNER, "APPLIST_OUTCOME_NO_PARTNER", "no-partner"},
        {APPLIST_OUTCOME_REJECTED, "APPLIST_OUTCOME_REJECTED", "rejected"},
        {APPLIST_OUTCOME_FAILED, "APPLIST_OUTCOME_FAILED", "failed"},
        {0, nullptr, nullptr}};
    static const GType type = g_enum_register_static("AppListOutcome", values);
    return type;
}
