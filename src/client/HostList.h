// The host's list of a client: the items and the selection, as the host reads them.
#ifndef APPLIST_CLIENT_HOSTLIST_H
#define APPLIST_CLIENT_HOSTLIST_H

#include <cstddef>
#include <optional>
#include <string>

#include <client/SharedItem.h>

namespace applist_internal {

/** Not thread-safe: the client guards it. Each change returns an empty text or its rejection. */
class HostList {
public:
    const SharedItems& Items() const { return m_items; }
    /** @return the selected item, or null. */
    SharedItem Selection() const { return m_selection; }
    /** @return the item, or null. */
    SharedItem Find(const std::string& uniqueId) const;

    std::string Set(SharedItems items);
    std::string Add(const SharedItems& items);
    std::string Remove(const std::string& uniqueId);
    std::string Modify(const std::string& uniqueId, const SharedItem& item);
    void Clear();
    std::string Select(const std::string& uniqueId);

    /** Stores the selection of the partner, if its item is in the list; otherwise ends the
     * selection. */
    void SelectLikePartner(const std::string& uniqueId) { m_selection = Find(uniqueId); }

private:
    std::size_t IndexOf(const std::string& uniqueId) const;
    std::string Unknown(const std::string& uniqueId) const;

    SharedItems m_items;
    SharedItem m_selection;
};

} // namespace applist_internal

#endif
