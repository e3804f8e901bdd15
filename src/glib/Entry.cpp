// AppListEntry: an immutable item as a GObject.
#include "Entry.h"

#include <new>
#include <string>
#include <utility>

using namespace applist_internal;

struct _AppListEntry {
    GObject parent;
    SharedItem item;
};

G_DEFINE_TYPE(AppListEntry, applist_entry, G_TYPE_OBJECT)

namespace {

enum Property { PROPERTY_ID = 1, PROPERTY_NAME, PROPERTIES };

// GObject sets the properties one by one, before any other code has the entry.
void SetText(SharedItem& item, std::string AppListClient::Item::*text, const char* value) noexcept {
    AppListClient::Item changed = *item;
    changed.*text = value == nullptr ? "" : value;
    item = std::make_shared<const AppListClient::Item>(std::move(changed));
}

void cb_SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* property) {
    SharedItem& item = APPLIST_ENTRY(object)->item;
    switch (id) {
    case PROPERTY_ID:
        SetText(item, &AppListClient::Item::uniqueId, g_value_get_string(value));
        return;
    case PROPERTY_NAME:
        SetText(item, &AppListClient::Item::visibleName, g_value_get_string(value));
        return;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
    }
}

void cb_GetProperty(GObject* object, guint id, GValue* value, GParamSpec* property) {
    const SharedItem& item = APPLIST_ENTRY(object)->item;
    switch (id) {
    case PROPERTY_ID:
        g_value_set_string(value, item->uniqueId.c_str());
        return;
    case PROPERTY_NAME:
        g_value_set_string(value, item->visibleName.c_str());
        return;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
    }
}

// Never inlined: g++ 16 would expand the parent's finalize as a call of cb_Finalize, and would then
// warn of a second destruction.
[[gnu::noinline]] void DestroyItem(AppListEntry* self) {
    self->item.~SharedItem();
}

void cb_Finalize(GObject* object) {
    DestroyItem(APPLIST_ENTRY(object));
    G_OBJECT_CLASS(applist_entry_parent_class)->finalize(object);
}

SharedItem EmptyItem() noexcept {
    return std::make_shared<const AppListClient::Item>();
}

} // namespace

static void applist_entry_init(AppListEntry* self) {
    new (&self->item) SharedItem(EmptyItem());
}

static void applist_entry_class_init(AppListEntryClass* entryClass) {
    GObjectClass* const objectClass = G_OBJECT_CLASS(entryClass);
    objectClass->set_property = cb_SetProperty;
    objectClass->get_property = cb_GetProperty;
    objectClass->finalize = cb_Finalize;
    const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT_ONLY |
                                                G_PARAM_STATIC_STRINGS);
    GParamSpec* properties[PROPERTIES] = {};
    properties[PROPERTY_ID] = g_param_spec_string("id", nullptr, nullptr, "", flags);
    properties[PROPERTY_NAME] = g_param_spec_string("name", nullptr, nullptr, "", flags);
    g_object_class_install_properties(objectClass, PROPERTIES, properties);
}

const SharedItem& applist_internal::ItemOf(AppListEntry* entry) {
    return entry->item;
}

AppListEntry* applist_entry_new(const char* id, const char* name) {
    return static_cast<AppListEntry*>(
        g_object_new(APPLIST_TYPE_ENTRY, "id", id, "name", name, nullptr));
}

const char* applist_entry_get_id(AppListEntry* self) {
    g_return_val_if_fail(APPLIST_IS_ENTRY(self), nullptr);
    return self->item->uniqueId.c_str();
}

const char* applist_entry_get_name(AppListEntry* self) {
    g_return_val_if_fail(APPLIST_IS_ENTRY(self), nullptr);
    return self->item->visibleName.c_str();
}
