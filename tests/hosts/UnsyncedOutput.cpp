// A host whose std::cout is not synchronized with stdio, and contains half a line when the library
// writes a line, as with another thread that prints.
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
