// A listener of all three kinds that counts.
#ifndef APPLIST_FUZZ_LISTENERS_H
#define APPLIST_FUZZ_LISTENERS_H

#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>

inline namespace applist_fuzz {

class CountingListener : public ItemChangeListener,
                         public ItemClickListener,
                         public ItemSelectionListener {
public:
    void OnItemChangeEvent(AppListModel* /*model*/) override { ++changes; }
    void OnItemClickedEvent(AppListModel* /*model*/) override { ++clicks; }
    void OnItemSelectionEvent(AppListModel* /*model*/) override { ++selections; }

    int changes = 0;
    int clicks = 0;
    int selections = 0;
};

} // namespace applist_fuzz

#endif
