// A host whose proxy is a global object, which it uses before main() and destroys after it. It
// includes nothing that sets up std::cout.
#include <cstdio>
#include <string>

#include <applist/AppListItem.h>
#include <applist/AppListProxy.h>

namespace {

class Clock : public AppListItem {
public:
    std::string GetVisibleName() override { return "Clock"; }
    std::string GetUnigueId() override { return "clock.01"; }
};

// NOLINTBEGIN(cert-err58-cpp): the subject of this host
Clock g_clock;
AppListProxy g_list;
const bool g_isSelected = [] {
    g_list.AddItemAtEnd(&g_clock);
    g_list.SetSelection(&g_clock);
    return g_list.GetSelection() == &g_clock;
}();
// NOLINTEND(cert-err58-cpp)

} // namespace

int main() {
    std::puts(g_isSelected ? "main: selected" : "main: not selected");
    return 0;
}
