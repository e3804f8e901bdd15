// The items of the host and the list of the library: ownership and lifetime of each item.
#ifndef APPLIST_TOOLS_HOSTLIST_H
#define APPLIST_TOOLS_HOSTLIST_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <applist/AppListProxy.h>
#include <host/HostItem.h>

namespace applistctl {

/**
 * The library keeps plain pointers, so an item must exist while it is in the list or selected. This
 * class repeats each operation of the proxy on its own items. A removed item that is still selected
 * is kept until the selection changes.
 *
 * Ids are searched from the front, as in the library.
 */
class HostList {
public:
    /** @param onRead called for each read of a name, with the lock of the list held */
    explicit HostList(std::function<void()> onRead) : m_onRead(std::move(onRead)) {}

    AppListProxy& Proxy() { return m_proxy; }
    std::size_t Size() const { return m_listed.size(); }

    /** @return the first item with this id, or null */
    HostItem* Find(const std::string& id) const;

    void AddAll(const std::vector<ListedItem>& items);
    void Append(const ListedItem& item);
    void Remove(HostItem* item);
    void Replace(HostItem* item, const ListedItem& replacement);
    void Clear();

    /** Deletes removed items that are not selected. Call it after each change. */
    void DropUnused();

private:
    using Items = std::vector<std::unique_ptr<HostItem>>;

    Items::iterator FindOwner(const HostItem* item);

    std::function<void()> m_onRead;
    Items m_listed;  ///< the targets of the library's list, in its order
    Items m_removed; ///< removed from the list; one may be selected
    // Declared last: the proxy is destroyed before the items that it points to.
    AppListProxy m_proxy;
};

} // namespace applistctl

#endif
