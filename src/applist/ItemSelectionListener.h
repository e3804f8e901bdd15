// Receives the changes of the selection by the partner.
#ifndef APPLIST_APPLIST_ITEMSELECTIONLISTENER_H
#define APPLIST_APPLIST_ITEMSELECTIONLISTENER_H

#include "../common/Export.h"

class AppListModel;

/**
 * Implemented by the host and registered with AppListProxy::AddItemSelectionListener.
 *
 * A listener belongs to the host and is never deleted by the library. A listener must exist until
 * it has been removed or the proxy has been destroyed.
 */
class APPLIST_API ItemSelectionListener {
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
     *        model has already read the new selection: GetSelection returns the selected item, or
     *        null for none.
     */
    virtual void OnItemSelectionEvent(AppListModel* model) = 0;

    virtual ~ItemSelectionListener() = default;
};

#endif
