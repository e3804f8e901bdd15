#include <client/HostList.h>

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace applist_internal {

namespace {

// A line feed ends a text on its way to the partner.
std::string Invalid(const AppListClient::Item& item) {
    if (item.uniqueId.empty()) {
        return "the unique id is empty";
    }
    if (item.uniqueId.find('\n') != std::string::npos ||
        item.visibleName.find('\n') != std::string::npos) {
        return "a text of the item has a line feed";
    }
    return "";
}

std::string Present(const AppListClient::Item& item) {
    return "the unique id '" + item.uniqueId + "' is in the list";
}

// @return whether two unique ids have the same hash. A sorted array of hashes is several times
// faster than a set of ids, and the host waits for this check.
bool MayRepeatAnId(const SharedItems& present, const SharedItems& items) {
    std::vector<std::size_t> hashes;
    hashes.reserve(present.size() + items.size());
    for (const SharedItems* const list : {&present, &items}) {
        for (const SharedItem& item : *list) {
            hashes.push_back(std::hash<std::string_view>()(item->uniqueId));
        }
    }
    std::sort(hashes.begin(), hashes.end());
    return std::adjacent_find(hashes.begin(), hashes.end()) != hashes.end();
}

// @return the first rejection of items that follow those of @p present
std::string InvalidOrPresent(const SharedItems& present, const SharedItems& items) {
    const bool mayRepeat = MayRepeatAnId(present, items);
    std::unordered_set<std::string_view> ids;
    if (mayRepeat) {
        for (const SharedItem& item : present) {
            ids.insert(item->uniqueId);
        }
    }
    for (const SharedItem& item : items) {
        std::string rejection = Invalid(*item);
        if (rejection.empty() && mayRepeat && !ids.insert(item->uniqueId).second) {
            rejection = Present(*item);
        }
        if (!rejection.empty()) {
            return rejection;
        }
    }
    return "";
}

} // namespace

SharedItem HostList::Find(const std::string& uniqueId) const {
    const std::size_t index = IndexOf(uniqueId);
    return index < m_items.size() ? m_items[index] : nullptr;
}

std::string HostList::Set(SharedItems items) {
    std::string rejection = InvalidOrPresent({}, items);
    if (rejection.empty()) {
        m_items = std::move(items);
        m_selection = m_selection == nullptr ? nullptr : Find(m_selection->uniqueId);
    }
    return rejection;
}

std::string HostList::Add(const SharedItems& items) {
    if (items.size() == 1 && Find(items.front()->uniqueId) != nullptr) {
        return Present(*items.front());
    }
    const SharedItems none;
    std::string rejection = InvalidOrPresent(items.size() == 1 ? none : m_items, items);
    if (rejection.empty()) {
        m_items.insert(m_items.end(), items.begin(), items.end());
    }
    return rejection;
}

std::string HostList::Remove(const std::string& uniqueId) {
    const std::size_t index = IndexOf(uniqueId);
    if (index == m_items.size()) {
        return Unknown(uniqueId);
    }
    if (m_selection == m_items[index]) {
        m_selection = nullptr;
    }
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(index));
    return "";
}

std::string HostList::Modify(const std::string& uniqueId, const SharedItem& item) {
    const std::size_t index = IndexOf(uniqueId);
    if (index == m_items.size()) {
        return Unknown(uniqueId);
    }
    if (item->uniqueId != uniqueId && Find(item->uniqueId) != nullptr) {
        return Present(*item);
    }
    std::string rejection = Invalid(*item);
    if (rejection.empty()) {
        if (m_selection == m_items[index]) {
            m_selection = item;
        }
        m_items[index] = item;
    }
    return rejection;
}

void HostList::Clear() {
    m_items.clear();
    m_selection = nullptr;
}

std::string HostList::Select(const std::string& uniqueId) {
    SharedItem item = Find(uniqueId);
    if (item == nullptr) {
        return Unknown(uniqueId);
    }
    m_selection = std::move(item);
    return "";
}

std::size_t HostList::IndexOf(const std::string& uniqueId) const {
    const auto found = std::find_if(m_items.begin(), m_items.end(), [&](const SharedItem& item) {
        return item->uniqueId == uniqueId;
    });
    return static_cast<std::size_t>(found - m_items.begin());
}

std::string HostList::Unknown(const std::string& uniqueId) const {
    return "the list has no item with the unique id '" + uniqueId + "'";
}

} // namespace applist_internal
