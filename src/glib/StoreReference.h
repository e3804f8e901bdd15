// A weak reference to a store, for the threads of its client.
#ifndef APPLIST_GLIB_STOREREFERENCE_H
#define APPLIST_GLIB_STOREREFERENCE_H

#include <memory>

#include <applist/applist-glib.h>

namespace applist_internal {

struct StoreUnref {
    void operator()(AppListStore* store) const { g_object_unref(store); }
};

/** A strong reference to a store. */
using StorePtr = std::unique_ptr<AppListStore, StoreUnref>;

/** Copies may exist on any thread, and longer than the store. */
class StoreReference {
public:
    explicit StoreReference(AppListStore* store) : m_reference(new GWeakRef, Clear) {
        g_weak_ref_init(m_reference.get(), store);
    }

    /** @return the store, or null while it is finalized and later. */
    StorePtr Lock() const {
        return StorePtr(static_cast<AppListStore*>(g_weak_ref_get(m_reference.get())));
    }

private:
    static void Clear(GWeakRef* reference) {
        g_weak_ref_clear(reference);
        delete reference;
    }

    std::shared_ptr<GWeakRef> m_reference;
};

} // namespace applist_internal

#endif
