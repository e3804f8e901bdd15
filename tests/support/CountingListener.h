// A listener of all three kinds that counts its events.
#pragma once

#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>

inline namespace applist_test {

class CountingListener : public ItemChangeListener,
                         public ItemClickListener,
                         public ItemSelectionListener {
public:
    void OnItemChangeEvent(AppListModel* /*model*/) override { ++changes; }
    void OnItemClickedEvent(AppListModel* /*model*/) override { ++clicks; }
    void OnItemSelectionEvent(AppListModel* /*model*/) override { ++selections; }

    unsigned changes = 0;
    unsigned clicks = 0;
    unsigned selections = 0;
};

} // namespace applist_test
