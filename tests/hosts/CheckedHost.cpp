// checked-host [leak]: a host that ends cleanly after a selection event. With "leak" it loses an
// item of its own.
#include <cstring>
#include <memory>

#include <glib.h>

#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemSelectionListener.h>
#include <applist/RemoteAppListItem.h>

namespace {

class Listener : public ItemSelectionListener {
public:
    void OnItemSelectionEvent(AppListModel* /*model*/) override { isCalled = true; }

    bool isCalled = false;
};

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "leak") == 0) {
        static_cast<void>(std::make_unique<RemoteAppListItem>().release());
    }
    Listener listener;
    auto list = std::make_unique<AppListProxy>();
    list->AddItemSelectionListener(&listener);
    while (!listener.isCalled) {
        g_main_context_iteration(nullptr, TRUE);
    }
    list.reset();
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    return 0;
}
