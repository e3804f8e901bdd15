// A launcher with GTK 4: the desktop entries of the machine in a grid. Host and partner share the
// list and the selection. Return or a double click reports a click to the partner.
#include <applist/applist-glib.h>
#include <gio/gdesktopappinfo.h>
#include <gtk/gtk.h>

static const char STYLE[] =
    "gridview { padding: 12px; } gridview > child { padding: 16px 8px; border-radius: 12px; }"
    "gridview > child:selected { background: #cfe2ff; color: black; "
    "outline: 3px solid #1a5fb4; outline-offset: -3px; }"
    "window > box > label { padding: 10px; background: #f6d32d; color: black; }";

static void cb_SetupCell(GtkListItemFactory* factory, GtkListItem* cell, gpointer user_data) {
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
    GtkWidget* icon = g_object_new(GTK_TYPE_IMAGE, "pixel-size", 64, NULL);
    GtkWidget* name =
        g_object_new(GTK_TYPE_LABEL, "wrap", TRUE, "wrap-mode", PANGO_WRAP_WORD_CHAR, "lines", 2,
                     "ellipsize", PANGO_ELLIPSIZE_END, "yalign", 0.0, "justify", GTK_JUSTIFY_CENTER,
                     "width-chars", 14, "max-width-chars", 14, NULL);
    gtk_box_append(GTK_BOX(box), icon);
    gtk_box_append(GTK_BOX(box), name);
    gtk_list_item_set_child(cell, box);
}

static void cb_BindCell(GtkListItemFactory* factory, GtkListItem* cell, gpointer user_data) {
    AppListEntry* entry = gtk_list_item_get_item(cell);
    GtkWidget* icon = gtk_widget_get_first_child(gtk_list_item_get_child(cell));
    g_autoptr(GDesktopAppInfo) info = g_desktop_app_info_new(applist_entry_get_id(entry));
    GIcon* picture = info != NULL ? g_app_info_get_icon(G_APP_INFO(info)) : NULL;
    g_autoptr(GIcon) standard = g_themed_icon_new("application-x-executable");
    gtk_image_set_from_gicon(GTK_IMAGE(icon), picture != NULL ? picture : standard);
    gtk_label_set_label(GTK_LABEL(gtk_widget_get_next_sibling(icon)),
                        applist_entry_get_name(entry));
    gtk_widget_set_tooltip_text(gtk_list_item_get_child(cell), applist_entry_get_name(entry));
}

static void cb_Activate(GtkGridView* grid, guint position, AppListStore* store) {
    g_autoptr(AppListEntry) entry = g_list_model_get_item(G_LIST_MODEL(store), position);
    applist_store_click(store, applist_entry_get_id(entry), NULL);
}

static void cb_ShowSelection(AppListStore* store, GParamSpec* property, GtkWidget* grid) {
    gtk_widget_activate_action(grid, "list.scroll-to-item", "u", applist_store_get_selected(store));
}

static int CompareNames(const void* left, const void* right) {
    return g_utf8_collate(applist_entry_get_name(*(AppListEntry* const*)left),
                          applist_entry_get_name(*(AppListEntry* const*)right));
}

static void FillStore(AppListStore* store) {
    g_autoptr(GPtrArray) entries = g_ptr_array_new_with_free_func(g_object_unref);
    g_autolist(GAppInfo) infos = g_app_info_get_all();
    for (GList* info = infos; info != NULL; info = info->next) {
        if (g_app_info_should_show(info->data)) {
            g_ptr_array_add(entries, applist_entry_new(g_app_info_get_id(info->data),
                                                       g_app_info_get_display_name(info->data)));
        }
    }
    g_ptr_array_sort(entries, CompareNames);
    applist_store_set_items(store, (AppListEntry**)entries->pdata, entries->len, NULL);
}

static void cb_Open(GtkApplication* application, AppListStore* store) {
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget* window =
        g_object_new(GTK_TYPE_APPLICATION_WINDOW, "application", application, "child", box, "title",
                     "Launcher", "default-width", 960, "default-height", 640, NULL);
    GtkWidget* waiting = gtk_label_new("No partner is connected");
    GtkListItemFactory* factory = gtk_signal_list_item_factory_new();
    GtkSelectionModel* selection =
        g_object_new(GTK_TYPE_SINGLE_SELECTION, "autoselect", FALSE, "model", store, NULL);
    GtkWidget* grid = gtk_grid_view_new(selection, factory);
    GtkWidget* scrolled =
        g_object_new(GTK_TYPE_SCROLLED_WINDOW, "child", grid, "vexpand", TRUE, NULL);
    g_autoptr(GtkCssProvider) style = gtk_css_provider_new();
    gtk_css_provider_load_from_data(style, STYLE, -1);
    gtk_style_context_add_provider_for_display(gtk_widget_get_display(window),
                                               GTK_STYLE_PROVIDER(style), 600);
    g_signal_connect(factory, "setup", G_CALLBACK(cb_SetupCell), NULL);
    g_signal_connect(factory, "bind", G_CALLBACK(cb_BindCell), NULL);
    g_signal_connect(grid, "activate", G_CALLBACK(cb_Activate), store);
    g_signal_connect_object(store, "notify::selected", G_CALLBACK(cb_ShowSelection), grid, 0);
    g_object_bind_property(store, "selected", selection, "selected",
                           G_BINDING_BIDIRECTIONAL | G_BINDING_SYNC_CREATE);
    g_object_bind_property(store, "connected", waiting, "visible",
                           G_BINDING_INVERT_BOOLEAN | G_BINDING_SYNC_CREATE);
    gtk_box_append(GTK_BOX(box), waiting);
    gtk_box_append(GTK_BOX(box), scrolled);
    FillStore(store);
    gtk_window_present(GTK_WINDOW(window));
}

int main(int argc, char** argv) {
    g_autoptr(AppListStore) store = applist_store_new();
    g_autoptr(GtkApplication) application = gtk_application_new(NULL, G_APPLICATION_NON_UNIQUE);
    g_signal_connect(application, "activate", G_CALLBACK(cb_Open), store);
    return g_application_run(G_APPLICATION(application), argc, argv);
}
