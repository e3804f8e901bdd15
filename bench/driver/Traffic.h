// Watches everything that goes over the private bus, and counts what one connection sent.
#ifndef APPLIST_BENCH_TRAFFIC_H
#define APPLIST_BENCH_TRAFFIC_H

#include <map>
#include <mutex>
#include <string>

#include <gio/gio.h>

#include "PrivateBus.h"

class Traffic {
public:
    explicit Traffic(const PrivateBus& bus);
    ~Traffic();

    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

    /** How many messages of @p sender have passed the bus, all of those sent before this call. */
    unsigned CountFrom(const std::string& sender);

private:
    static GDBusMessage* Filter(GDBusConnection* connection, GDBusMessage* message,
                                gboolean incoming, void* self);
    void Take(GDBusMessage* message);

    GDBusConnection* m_monitor;
    GDBusConnection* m_marker; ///< its messages mark a point in the traffic
    std::mutex m_mutex;
    std::map<std::string, unsigned> m_sent;
};

#endif
