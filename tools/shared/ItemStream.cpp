#include <shared/ItemStream.h>

#include <algorithm>
#include <sstream>
#include <string>

#include <applist/ItemRecords.h>

namespace applistctl::ItemStream {

std::vector<ListedItem> Read(const std::vector<char>& payload) {
    std::vector<ListedItem> items;
    std::istringstream stream(std::string(payload.begin(), payload.end()));
    RemoteAppListItem item;
    while (ItemRecords::ReadNext(stream, item)) {
        items.push_back({item.GetVisibleName(), item.GetUnigueId()});
    }
    return items;
}

// A record consists of two lines.
bool EndsInsideARecord(const std::vector<char>& payload) {
    return !payload.empty() &&
           (payload.back() != '\n' || std::count(payload.begin(), payload.end(), '\n') % 2 != 0);
}

} // namespace applistctl::ItemStream
