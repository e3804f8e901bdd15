// An item of a client as an item of the library's model.
#ifndef APPLIST_CLIENT_MODELITEM_H
#define APPLIST_CLIENT_MODELITEM_H

#include <string>
#include <utility>

#include <applist/AppListItem.h>
#include <client/SharedItem.h>

namespace applist_internal {

class ModelItem;

/**
 * The item for which the model searches its list. The model reads the unique ids of the other items
 * only to compare them, and compares copies. Hidden ids make a search of a long list several times
 * faster.
 */
struct ModelSearch {
    const ModelItem* item = nullptr;        ///< null outside a search
    const ModelItem* replacement = nullptr; ///< not in the list yet

    bool Hides(const ModelItem* other) const {
        return item != nullptr && other != item && other != replacement;
    }
};

/** The unique id is empty while @p search hides it. */
class ModelItem : public AppListItem {
public:
    ModelItem(SharedItem item, const ModelSearch& search)
        : m_item(std::move(item)), m_search(search) {}

    std::string GetVisibleName() override { return m_item->visibleName; }
    std::string GetUnigueId() override {
        return m_search.Hides(this) ? std::string() : m_item->uniqueId;
    }

private:
    SharedItem m_item;
    const ModelSearch& m_search;
};

} // namespace applist_internal

#endif
