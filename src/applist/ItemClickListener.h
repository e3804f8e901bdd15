// Told when the partner reported a click on an item.
#ifndef APPLIST_APPLIST_ITEMCLICKLISTENER_H
#define APPLIST_APPLIST_ITEMCLICKLISTENER_H

#include "../common/Export.h"

class AppListModel;

/**
 * Implemented by the host and registered with AppListProxy::AddItemClickedListener.
 *
 * A listener belongs to the host and is never deleted by the library: keep it alive until it has
 * been removed or the proxy is gone.
 */
class APPLIST_API ItemClickListener {
public:
    /**
     * Called on the thread that iterates the proxy's main context, with no lock held; further
     * events wait until it returns. It may call any operation of @p model, each of which that asks
     * the partner blocks this thread until the partner answers. It must not add or remove
     * listeners of its own kind, nor destroy the proxy. An exception is logged as an error
     * ("Exception in cb_SignalCall: ...") and keeps the listeners behind this one from being
     * called.
     *
     * @param model the model that holds the registration, valid as long as the proxy. The event
     * does not say which item was clicked, and has changed nothing in the model.
     */
    virtual void OnItemClickedEvent(AppListModel* model) = 0;

    virtual ~ItemClickListener() = default;
};

#endif
