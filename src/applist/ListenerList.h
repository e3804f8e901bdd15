// The registered listeners of one kind, and the calls to them.
#ifndef APPLIST_APPLIST_LISTENERLIST_H
#define APPLIST_APPLIST_LISTENERLIST_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include <common/PTAutoLock.h>
#include <common/PTMutex.h>

class AppListModel;

/** Pointers to the host's listeners, each at most once, in the order of registration. */
template <class Listener>
class ListenerList {
public:
    void Add(Listener* listener) {
        const PTAutoLock lock(m_mutex);
        if (std::find(m_listeners.begin(), m_listeners.end(), listener) == m_listeners.end()) {
            m_listeners.push_back(listener);
        }
    }

    void Remove(Listener* listener) {
        const PTAutoLock lock(m_mutex);
        const auto found = std::find(m_listeners.begin(), m_listeners.end(), listener);
        if (found != m_listeners.end()) {
            m_listeners.erase(found);
        }
    }

    std::size_t Count() {
        const PTAutoLock lock(m_mutex);
        return m_listeners.size();
    }

    /**
     * Calls @p event on the listeners that are registered now, in the order of registration. Reads
     * the live list: if a listener breaks its contract and removes one of its kind, another may be
     * skipped, but no access goes past the end.
     */
    void Call(void (Listener::*event)(AppListModel*), AppListModel* model) {
        const std::size_t count = Count();
        for (std::size_t i = 0; i < count; ++i) {
            if (Listener* const listener = At(i)) {
                (listener->*event)(model);
            }
        }
    }

private:
    // Null past the end. A null listener, whose registration is an error, is skipped as well.
    Listener* At(std::size_t i) {
        const PTAutoLock lock(m_mutex);
        return i < m_listeners.size() ? m_listeners[i] : nullptr;
    }

    // The mutex makes the writes of the registering thread visible to the thread that delivers
    // events. The mutex is not held while a listener runs, and does not permit registration during
    // an event.
    PTMutex m_mutex;
    std::vector<Listener*> m_listeners APPLIST_GUARDED_BY(m_mutex);
};

#endif
