#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemSelectionListener.h>
#include <applist/RemoteAppListItem.h>
#include <glib.h>
#include <sstream>

struct Listener : ItemSelectionListener {
    void OnItemSelectionEvent(AppListModel* model) override {
        AppListItem* item = model->GetSelection();
        g_print("selected: %s\n", item ? item->GetVisibleName().c_str() : "nothing");
    }
};

int main() {
    RemoteAppListItem clock, music; // or any class of yours that implements AppListItem
    std::istringstream("Clock\nclock.01\nMusic Player\nmusic.02\n") >> clock >> music;
    Listener listener;

    AppListProxy list; // joins the system bus and searches for the partner
    list.AddItemSelectionListener(&listener);
    list.AddItems({&clock, &music});
    list.SetSelection(&clock);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
