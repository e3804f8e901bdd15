// The host's items and the library's list of them: who owns an item, and for how long.
#ifndef APPLIST_TOOLS_HOSTLIST_H
#define APPLIST_TOOLS_HOSTLIST_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <applist/AppListProxy.h>
#include <host/HostItem.h>

/**
 * Follows what the proxy's operations do to the list, because the library keeps bare pointers: an
 * item must live while it is in the list or selected. An item that has left the list and is still
 * selected is kept until the selection has moved away.
 *
 * Ids are looked up from the front, like the library does.
 */
class HostList {
public:
    /** @param onRead told when the library reads an item's name, with the list's lock held */
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

    /** Lets go of items that the library does not know any more. Call it after every change. */
    void DropUnused();

private:
    using Items = std::vector<std::unique_ptr<HostItem>>;

    Items::iterator FindOwner(const HostItem* item);

    std::function<void()> m_onRead;
    Items m_listed;  ///< what the library's list points to, in its order
    Items m_removed; ///< out of the list, but perhaps selected
    // Declared last: it goes before the items that it points to.
    AppListProxy m_proxy;
};

#endif
