// An executor that runs the events of an AppListClient on the thread of a Qt event loop. The host
// compiles this header with its own Qt, version 5.10 or later.
#ifndef APPLIST_APPLIST_APPLISTQTEXECUTOR_H
#define APPLIST_APPLIST_APPLISTQTEXECUTOR_H

#include <memory>
#include <utility>

#include "AppListClient.h"
#include <QMetaObject>
#include <QObject>

/**
 * @return an executor that runs each task in the event loop of the calling thread. Requires no main
 *         loop of GLib. Tasks that are waiting when the loop ends do not run.
 */
inline AppListClient::Executor QtExecutor() {
    // Deleted by its own thread, because the last copy of the executor may end on another one.
    const std::shared_ptr<QObject> context(new QObject(),
                                           [](QObject* object) { object->deleteLater(); });
    return [context](AppListClient::Task task) {
        QMetaObject::invokeMethod(context.get(), std::move(task), Qt::QueuedConnection);
    };
}

#endif
