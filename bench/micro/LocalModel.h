// A model without a bus, and items for it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <applist/RemoteAppListModel.h>

#include "PlainItem.h"

inline namespace applist_bench {

/** Items as hosts have them: texts are copied out at each question. */
class LocalItems {
public:
    explicit LocalItems(long count) {
        for (long number = 0; number < count; ++number) {
            const std::string digits = std::to_string(10000 + number);
            m_items.push_back(
                std::make_unique<PlainItem>("Application " + digits, "application." + digits));
            m_pointers.push_back(m_items.back().get());
        }
    }

    const std::vector<AppListItem*>& Pointers() const { return m_pointers; }

private:
    std::vector<std::unique_ptr<PlainItem>> m_items;
    std::vector<AppListItem*> m_pointers;
};

/** One for the whole process, as there is in a host. */
inline RemoteAppListModel& LocalModel() {
    static auto* const model = new RemoteAppListModel();
    return *model;
}

} // namespace applist_bench
