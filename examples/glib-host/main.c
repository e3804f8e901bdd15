// A host in C: the list as a GObject, in the main loop of GLib.
#include <applist/applist-glib.h>

static void cb_PrintSelection(AppListStore* store, GParamSpec* property, gpointer user_data) {
    AppListEntry* item = applist_store_get_selected_item(store);
    (void)property;
    (void)user_data;
    g_print("selected: %s\n", item != NULL ? applist_entry_get_name(item) : "nothing");
}

int main(void) {
    g_autoptr(AppListEntry) clock = applist_entry_new("clock.01", "Clock");
    g_autoptr(AppListEntry) music = applist_entry_new("music.02", "Music Player");
    AppListEntry* items[] = {clock, music};
    g_autoptr(GMainLoop) loop = g_main_loop_new(NULL, FALSE);

    g_autoptr(AppListStore) store = applist_store_new();
    g_signal_connect(store, "notify::selected-item", G_CALLBACK(cb_PrintSelection), NULL);
    applist_store_set_items(store, items, G_N_ELEMENTS(items), NULL);
    applist_store_select(store, "clock.01", NULL);
    g_main_loop_run(loop);
    return 0;
}
