// A host whose partner answers the selection query: prints the memory that the event has cost at
// its peak, in bytes. Its log keeps nothing.
#include <cstdio>
#include <fstream>
#include <string>

#include <glib.h>

#include <applist/AppListProxy.h>
#include <applist/ItemSelectionListener.h>
#include <common/PlatformLog.h>

void PlatformLogPrint(int /*bufferId*/, int /*priority*/, const char* /*tag*/,
                      const char* /*format*/, ...) {}

namespace {

long StatusBytes(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word == key) {
            long kib = 0;
            status >> kib;
            return kib * 1024;
        }
    }
    return 0;
}

class Listener : public ItemSelectionListener {
public:
    void OnItemSelectionEvent(AppListModel* /*model*/) override { isCalled = true; }

    bool isCalled = false;
};

} // namespace

int main() {
    Listener listener;
    AppListProxy list;
    list.AddItemSelectionListener(&listener);
    const long before = StatusBytes("VmRSS:");
    while (!listener.isCalled) {
        g_main_context_iteration(nullptr, TRUE);
    }
    std::printf("%ld\n", StatusBytes("VmHWM:") - before);
    return 0;
}
