// Receives the clicks that the partner reports.
#ifndef APPLIST_APPLIST_ITEMCLICKLISTENER_H
#define APPLIST_APPLIST_ITEMCLICKLISTENER_H

#include "../common/Export.h"

class AppListModel;

/**
 * Implemented by the host and registered with AppListProxy::AddItemClickedListener.
 *
 * A listener belongs to the host and is never deleted by the library. A listener must exist until
 * it has been removed or the proxy has been destroyed.
 */
class APPLIST_API ItemClickListener {
public:
    /**
     * Called on the thread that iterates the proxy's main context, with no lock held. Later events
     * wait for the return of this function. The function may call any operation of @p model; each
     * operation with a request blocks this thread until the partner replies. The function must not
     * add or remove listeners of its own kind, and must not destroy the proxy. An exception is
     * logged as an error ("Exception in cb_SignalCall: ..."), and the remaining listeners are not
     * called.
     *
     * @param model the model that holds the registration, valid until the proxy is destroyed. The
     *        event does not name the clicked item and has changed nothing in the model.
     */
    virtual void OnItemClickedEvent(AppListModel* model) = 0;

    virtual ~ItemClickListener() = default;
};

#endif
