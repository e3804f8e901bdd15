// The items of a client as they must be: a plain vector with the rules of the client's changes.
#ifndef APPLIST_TESTS_EXPECTEDITEMS_H
#define APPLIST_TESTS_EXPECTEDITEMS_H

#include <algorithm>
#include <string>
#include <vector>

#include <applist/AppListClient.h>

#include "Records.h"

inline namespace applist_test {

/** The texts are valid, and no argument has a unique id twice. */
class ExpectedItems {
public:
    using Items = std::vector<AppListClient::Item>;

    void Set(const Items& items) { m_items = items; }

    void Add(const Items& items) {
        const bool isRejected = std::any_of(items.begin(), items.end(), [&](const auto& item) {
            return Find(item.uniqueId) != m_items.end();
        });
        if (!isRejected) {
            m_items.insert(m_items.end(), items.begin(), items.end());
        }
    }

    void Remove(const std::string& uniqueId) {
        const auto found = Find(uniqueId);
        if (found != m_items.end()) {
            m_items.erase(found);
        }
    }

    void Modify(const std::string& uniqueId, const AppListClient::Item& item) {
        const auto found = Find(uniqueId);
        const bool isFree = item.uniqueId == uniqueId || Find(item.uniqueId) == m_items.end();
        if (found != m_items.end() && isFree) {
            *found = item;
        }
    }

    void Clear() { m_items.clear(); }

    /** The records that the partner must have. */
    std::string Stream() const {
        std::string records;
        for (const AppListClient::Item& item : m_items) {
            records += Records::Write({item.visibleName, item.uniqueId});
        }
        return records;
    }

private:
    Items::iterator Find(const std::string& uniqueId) {
        return std::find_if(m_items.begin(), m_items.end(),
                            [&](const auto& item) { return item.uniqueId == uniqueId; });
    }

    Items m_items;
};

} // namespace applist_test

#endif
