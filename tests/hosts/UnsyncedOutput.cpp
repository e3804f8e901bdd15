// A host that has taken std::cout for itself, and is in the middle of a line when the library
// writes one, as it may be when another of its threads prints.
#include <iostream>
#include <string>

#include <applist/AppListItem.h>
#include <applist/AppListProxy.h>

namespace {

class Clock : public AppListItem {
public:
    std::string GetVisibleName() override { return "Clock"; }
    std::string GetUnigueId() override { return "clock.01"; }
};

} // namespace

int main() {
    std::ios::sync_with_stdio(false);
    Clock clock;
    AppListProxy list;
    std::cout << "the host's ";
    list.AddItemAtEnd(&clock);
    std::cout << "line" << std::endl;
    return 0;
}
