// Told when the partner changed the list.
#ifndef APPLIST_APPLIST_ITEMCHANGELISTENER_H
#define APPLIST_APPLIST_ITEMCHANGELISTENER_H

#include "../common/Export.h"

class AppListModel;

/**
 * Implemented by the host and registered with AppListProxy::AddItemChangeListener.
 *
 * A listener belongs to the host and is never deleted by the library: keep it alive until it has
 * been removed or the proxy is gone.
 */
class APPLIST_API ItemChangeListener {
public:
    /**
     * Called on the thread that iterates the proxy's main context, with no lock held; further
     * events wait until it returns. It may call any operation of @p model, each of which that asks
     * the partner blocks this thread until the partner answers. It must not add or remove
     * listeners of its own kind, nor destroy the proxy. An exception is logged as an error
     * ("Exception in cb_SignalCall: ...") and keeps the listeners behind this one from being
     * called.
     *
     * @param model the model that holds the registration, valid as long as the proxy. The event has
     *        changed nothing in it: the list on this side is the host's own.
     */
    virtual void OnItemChangeEvent(AppListModel* model) = 0;

    virtual ~ItemChangeListener() = default;
};

#endif
