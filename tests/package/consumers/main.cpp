// consumer: uses every public class once, without a bus, as far as a host of C++11 can, also
// without exceptions and run-time type information. Prints the language version that it was
// compiled as.
#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>
#include <applist/RemoteAppListItem.h>
#include <common/PTAutoLock.h>
#include <common/PTMutex.h>

#include <iostream>
#include <sstream>
#include <string>

namespace {

struct Listener : ItemSelectionListener {
    void OnItemSelectionEvent(AppListModel* /*model*/) override {}
};

std::string RoundTrip(const std::string& record) {
    RemoteAppListItem item;
    std::istringstream(record) >> item;
    std::ostringstream written;
    written << item;
    return written.str();
}

bool IsAnItem(AppListItem* item) {
#ifdef __cpp_rtti
    if (dynamic_cast<RemoteAppListItem*>(item) == nullptr) {
        return false;
    }
#endif
    return item->GetVisibleName() == "Clock";
}

} // namespace

int main() {
    RemoteAppListItem clock;
    std::istringstream("Clock\nclock.01\n") >> clock;
    RemoteAppListItem copy(clock);

    PTMutex mutex;
    PTAutoLock lock(mutex);

    Listener listener;
    AppListProxy* const list = new AppListProxy; // for the life of the process
    list->AddItemSelectionListener(&listener);
    list->AddItems({&clock, &copy});
    list->RemoveItemSelectionListener(&listener);

    if (RoundTrip("Clock\nclock.01\n") != "Clock\nclock.01\n" || !IsAnItem(&copy)) {
        return 1;
    }
    std::cout << __cplusplus << '\n';
}
