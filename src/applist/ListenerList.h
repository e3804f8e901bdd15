// The registered listeners of one kind, and the walk that tells them of an event.
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
     * Calls @p event on the listeners that are registered now, first registered first. Walks the
     * live list: a listener that breaks its contract by removing one of its kind may cause another
     * to be passed over, but never takes the walk past the end.
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
    // Null past the end; and a null that was registered, against the rules, is not called either.
    Listener* At(std::size_t i) {
        const PTAutoLock lock(m_mutex);
        return i < m_listeners.size() ? m_listeners[i] : nullptr;
    }

    // Never held while a listener runs. It is not there to allow registration during an event, but
    // to make what the registering thread wrote visible in the thread that delivers events.
    PTMutex m_mutex;
    std::vector<Listener*> m_listeners APPLIST_GUARDED_BY(m_mutex);
};

#endif
