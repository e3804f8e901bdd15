// An item of a client as an item of the library's model.
#ifndef APPLIST_CLIENT_MODELITEM_H
#define APPLIST_CLIENT_MODELITEM_H

#include <string>
#include <utility>

#include <applist/AppListItem.h>
#include <client/SharedItem.h>

class ModelItem : public AppListItem {
public:
    explicit ModelItem(SharedItem item) : m_item(std::move(item)) {}

    std::string GetVisibleName() override { return m_item->visibleName; }
    std::string GetUnigueId() override { return m_item->uniqueId; }

private:
    SharedItem m_item;
};

#endif
