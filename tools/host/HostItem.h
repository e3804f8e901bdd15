// An item of this host, with a callback for each read of its name.
#ifndef APPLIST_TOOLS_HOSTITEM_H
#define APPLIST_TOOLS_HOSTITEM_H

#include <functional>
#include <string>
#include <utility>

#include <applist/AppListItem.h>
#include <shared/ItemListing.h>

namespace applistctl {

class HostItem : public AppListItem {
public:
    /** @param onRead called when the library reads the name; must not use the list */
    HostItem(ListedItem item, const std::function<void()>& onRead)
        : m_item(std::move(item)), m_onRead(onRead) {}

    std::string GetVisibleName() override {
        m_onRead();
        return m_item.name;
    }
    std::string GetUnigueId() override { return m_item.id; }

    const ListedItem& Listed() const { return m_item; }

private:
    ListedItem m_item;
    const std::function<void()>& m_onRead;
};

} // namespace applistctl

#endif
