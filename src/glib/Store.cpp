// AppListStore: the GObject around a StoreCore. Each function checks its arguments, unpacks them
// and calls one member.
#include <memory>
#include <utility>

#include "StoreCore.h"

using namespace applist_internal;

struct _AppListStore {
    GObject parent;
    StoreCore* core;
};

static void cb_InitListModel(GListModelInterface* interface);

G_DEFINE_TYPE_WITH_CODE(AppListStore, applist_store, G_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(G_TYPE_LIST_MODEL, cb_InitListModel))

StoreCore& applist_internal::CoreOf(AppListStore* store) {
    return *store->core;
}

namespace {

enum Property {
    PROPERTY_CONNECTED = 1,
    PROPERTY_ITEM_TYPE,
    PROPERTY_N_ITEMS,
    PROPERTY_SELECTED,
    PROPERTY_SELECTED_ITEM,
    PROPERTIES
};

// A handler may release the last reference of the host.
StorePtr Hold(AppListStore* self) {
    return StorePtr(static_cast<AppListStore*>(g_object_ref(self)));
}

bool AreEntries(AppListEntry* const* entries, guint count) {
    g_return_val_if_fail(entries != nullptr || count == 0, false);
    for (guint i = 0; i < count; ++i) {
        g_return_val_if_fail(APPLIST_IS_ENTRY(entries[i]), false);
    }
    return true;
}

Entries RefEntries(AppListEntry* const* entries, guint count) noexcept {
    Entries references;
    references.reserve(count);
    for (guint i = 0; i < count; ++i) {
        references.push_back(RefEntry(entries[i]));
    }
    return references;
}

GType cb_GetItemType(GListModel* /*model*/) {
    return APPLIST_TYPE_ENTRY;
}

guint cb_GetItemsCount(GListModel* model) {
    return static_cast<guint>(CoreOf(APPLIST_STORE(model)).Count());
}

gpointer cb_GetItem(GListModel* model, guint position) {
    AppListEntry* const entry = CoreOf(APPLIST_STORE(model)).At(position);
    return entry == nullptr ? nullptr : g_object_ref(entry);
}

void cb_SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* property) {
    if (id == PROPERTY_SELECTED) {
        applist_store_set_selected(APPLIST_STORE(object), g_value_get_uint(value));
        return;
    }
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
}

void cb_GetProperty(GObject* object, guint id, GValue* value, GParamSpec* property) {
    AppListStore* const self = APPLIST_STORE(object);
    switch (id) {
    case PROPERTY_CONNECTED:
        g_value_set_boolean(value, applist_store_is_connected(self));
        return;
    case PROPERTY_ITEM_TYPE:
        g_value_set_gtype(value, APPLIST_TYPE_ENTRY);
        return;
    case PROPERTY_N_ITEMS:
        g_value_set_uint(value, g_list_model_get_n_items(G_LIST_MODEL(self)));
        return;
    case PROPERTY_SELECTED:
        g_value_set_uint(value, applist_store_get_selected(self));
        return;
    case PROPERTY_SELECTED_ITEM:
        g_value_set_object(value, applist_store_get_selected_item(self));
        return;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
    }
}

void cb_Constructed(GObject* object) {
    G_OBJECT_CLASS(applist_store_parent_class)->constructed(object);
    AppListStore* const self = APPLIST_STORE(object);
    self->core = new StoreCore(self);
}

void cb_Dispose(GObject* object) {
    CoreOf(APPLIST_STORE(object)).Close();
    G_OBJECT_CLASS(applist_store_parent_class)->dispose(object);
}

void cb_Finalize(GObject* object) {
    delete APPLIST_STORE(object)->core;
    G_OBJECT_CLASS(applist_store_parent_class)->finalize(object);
}

void InstallProperties(GObjectClass* objectClass) {
    constexpr auto read = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
    constexpr auto readWrite = static_cast<GParamFlags>(
        G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY | G_PARAM_STATIC_STRINGS);
    GParamSpec* properties[PROPERTIES] = {};
    properties[PROPERTY_CONNECTED] =
        g_param_spec_boolean("connected", nullptr, nullptr, FALSE, read);
    properties[PROPERTY_ITEM_TYPE] =
        g_param_spec_gtype("item-type", nullptr, nullptr, APPLIST_TYPE_ENTRY, read);
    properties[PROPERTY_N_ITEMS] =
        g_param_spec_uint("n-items", nullptr, nullptr, 0, G_MAXUINT, 0, read);
    properties[PROPERTY_SELECTED] =
        g_param_spec_uint("selected", nullptr, nullptr, 0, G_MAXUINT, G_MAXUINT, readWrite);
    properties[PROPERTY_SELECTED_ITEM] =
        g_param_spec_object("selected-item", nullptr, nullptr, APPLIST_TYPE_ENTRY, read);
    g_object_class_install_properties(objectClass, PROPERTIES, properties);
}

} // namespace

static void cb_InitListModel(GListModelInterface* interface) {
    interface->get_item_type = cb_GetItemType;
    interface->get_n_items = cb_GetItemsCount;
    interface->get_item = cb_GetItem;
}

static void applist_store_init(AppListStore* /*self*/) {}

static void applist_store_class_init(AppListStoreClass* storeClass) {
    GObjectClass* const objectClass = G_OBJECT_CLASS(storeClass);
    objectClass->constructed = cb_Constructed;
    objectClass->set_property = cb_SetProperty;
    objectClass->get_property = cb_GetProperty;
    objectClass->dispose = cb_Dispose;
    objectClass->finalize = cb_Finalize;
    InstallProperties(objectClass);
    const GType type = G_TYPE_FROM_CLASS(storeClass);
    g_signal_new("clicked", type, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr, G_TYPE_NONE, 1,
                 APPLIST_TYPE_ENTRY);
    g_signal_new("outcome", type, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr, G_TYPE_NONE, 2,
                 APPLIST_TYPE_OUTCOME, G_TYPE_STRING);
    g_signal_new("partner-changed", type, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr,
                 G_TYPE_NONE, 0);
}

AppListStore* applist_store_new() {
    return static_cast<AppListStore*>(g_object_new(APPLIST_TYPE_STORE, nullptr));
}

gboolean applist_store_set_items(AppListStore* self, AppListEntry* const* entries, guint n_entries,
                                 GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    g_return_val_if_fail(AreEntries(entries, n_entries), FALSE);
    return CoreOf(Hold(self).get()).SetItems(RefEntries(entries, n_entries), error);
}

gboolean applist_store_append(AppListStore* self, AppListEntry* entry, GError** error) {
    return applist_store_append_items(self, &entry, 1, error);
}

gboolean applist_store_append_items(AppListStore* self, AppListEntry* const* entries,
                                    guint n_entries, GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    g_return_val_if_fail(AreEntries(entries, n_entries), FALSE);
    return CoreOf(Hold(self).get()).Append(RefEntries(entries, n_entries), error);
}

gboolean applist_store_remove(AppListStore* self, const char* id, GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    g_return_val_if_fail(id != nullptr, FALSE);
    return CoreOf(Hold(self).get()).Remove(id, error);
}

gboolean applist_store_replace(AppListStore* self, const char* id, AppListEntry* entry,
                               GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    g_return_val_if_fail(id != nullptr, FALSE);
    g_return_val_if_fail(APPLIST_IS_ENTRY(entry), FALSE);
    return CoreOf(Hold(self).get()).Replace(id, entry, error);
}

gboolean applist_store_remove_all(AppListStore* self, GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    return CoreOf(Hold(self).get()).RemoveAll(error);
}

gboolean applist_store_select(AppListStore* self, const char* id, GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    g_return_val_if_fail(id != nullptr, FALSE);
    return CoreOf(Hold(self).get()).Select(id, error);
}

gboolean applist_store_click(AppListStore* self, const char* id, GError** error) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    g_return_val_if_fail(id != nullptr, FALSE);
    return CoreOf(Hold(self).get()).Click(id, error);
}

AppListEntry* applist_store_find(AppListStore* self, const char* id, guint* position) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), nullptr);
    g_return_val_if_fail(id != nullptr, nullptr);
    const StoreCore& core = CoreOf(self);
    const std::size_t found = core.IndexOf(id);
    if (position != nullptr) {
        *position = found == core.Count() ? G_MAXUINT : static_cast<guint>(found);
    }
    return core.At(found);
}

guint applist_store_get_selected(AppListStore* self) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), G_MAXUINT);
    const StoreCore& core = CoreOf(self);
    const std::size_t selected = core.Selected();
    return selected == core.Count() ? G_MAXUINT : static_cast<guint>(selected);
}

void applist_store_set_selected(AppListStore* self, guint position) {
    g_return_if_fail(APPLIST_IS_STORE(self));
    AppListEntry* const entry = CoreOf(self).At(position);
    if (entry != nullptr && position != CoreOf(self).Selected()) {
        applist_store_select(self, applist_entry_get_id(entry), nullptr);
    }
}

AppListEntry* applist_store_get_selected_item(AppListStore* self) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), nullptr);
    const StoreCore& core = CoreOf(self);
    return core.At(core.Selected());
}

gboolean applist_store_is_connected(AppListStore* self) {
    g_return_val_if_fail(APPLIST_IS_STORE(self), FALSE);
    return CoreOf(self).IsConnected();
}
