// An executor that runs the events of an AppListClient on the thread of a Qt event loop. The host
// compiles this header with its own Qt, version 5.10 or later.
#ifndef APPLIST_APPLIST_APPLISTQTEXECUTOR_H
#define APPLIST_APPLIST_APPLISTQTEXECUTOR_H

#include <memory>
#include <utility>

#include "AppListClient.h"
#include <QMetaObject>
#include <QObject>
#include <QThread>

/**
 * @return an executor that runs each task in the event loop of the calling thread. Requires no main
 *         loop of GLib. Tasks that are waiting when the loop ends do not run.
 */
inline AppListClient::Executor QtExecutor() {
    // Deleted on its own thread. There, deleteLater() would wait for ever while Qt deletes waiting
    // tasks at the end of the application, because Qt then holds the mutex of posted events.
    const std::shared_ptr<QObject> context(new QObject(), [](QObject* object) {
        if (object->thread() == QThread::currentThread()) {
            delete object;
        } else {
            object->deleteLater();
        }
    });
    return [context](AppListClient::Task task) {
        QMetaObject::invokeMethod(
            context.get(), [context, task = std::move(task)] { task(); }, Qt::QueuedConnection);
    };
}

#endif
