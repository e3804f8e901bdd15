// Executors for an AppListClient: a main context of GLib, and a file descriptor for any other loop.
#ifndef APPLIST_APPLIST_APPLISTEXECUTORS_H
#define APPLIST_APPLIST_APPLISTEXECUTORS_H

#include <memory>

#include "AppListClient.h"

// As in GLib's headers, which a host with another loop does not have.
// NOLINTNEXTLINE(modernize-use-using,bugprone-reserved-identifier)
typedef struct _GMainContext GMainContext;

namespace applist_internal {
class DescriptorTasks;
}

/**
 * @return an executor that runs each task in an iteration of @p context, at the default priority.
 *         The executor holds a reference to the context. A null context is the global default one.
 */
APPLIST_CLIENT_API AppListClient::Executor MainContextExecutor(GMainContext* context);

/**
 * Runs tasks for a host whose own loop watches file descriptors.
 *
 * The host watches GetDescriptor() for input, for example with poll(2), and calls Dispatch() when
 * the descriptor is readable. The object may be destroyed before its client: later tasks are
 * dropped.
 */
class APPLIST_CLIENT_API DescriptorExecutor {
public:
    /** Logs an error if the process has no free descriptor; GetDescriptor() is then -1. */
    DescriptorExecutor();
    /** Closes the descriptor. */
    ~DescriptorExecutor();

    DescriptorExecutor(const DescriptorExecutor&) = delete;
    DescriptorExecutor& operator=(const DescriptorExecutor&) = delete;

    /** @return an eventfd(2), non-blocking and closed on exec, readable while tasks are waiting. */
    int GetDescriptor() const;

    /**
     * Runs the tasks that are waiting at the time of the call. Returns at once if none is waiting.
     * A task may destroy this object: the remaining tasks are then dropped.
     */
    void Dispatch();

    /** @return the executor for the constructor of AppListClient. */
    AppListClient::Executor GetExecutor() const;

private:
    std::shared_ptr<applist_internal::DescriptorTasks> m_tasks;
};

#endif
