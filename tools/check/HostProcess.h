// Reads the state of a process in /proc: whether it is stopped, whether a thread runs a main loop,
// and whether it is a host, which has the library loaded. These reads do not disturb the process.
#ifndef APPLIST_TOOLS_HOSTPROCESS_H
#define APPLIST_TOOLS_HOSTPROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <glib.h>

namespace applistctl::HostProcess {

enum class State {
    Unknown, ///< /proc does not show the process to this user
    Stopped, ///< by a signal or a debugger
    Running
};

State FindState(guint32 pid);

inline bool IsStopped(guint32 pid) {
    return FindState(pid) == State::Stopped;
}

/** The state of a process whose main context does not answer. */
enum class Loop {
    Unreadable, ///< /proc does not show it to this user
    InCall,     ///< a thread waits for the reply to a synchronous call
    Stalled,    ///< a thread owns a main context, and does not read its wake-ups
    Another,    ///< a thread waits in a main loop, of another context
    None        ///< no thread waits in a main loop
};

/**
 * Looks at the wake-up descriptors of the process's main contexts for half a second. A message
 * must be waiting in its context already. Needs the right to trace the process.
 * @param sendMessage adds another message to this context, and returns when the context has it
 */
Loop FindLoop(guint32 pid, const std::function<void()>& sendMessage);

/**
 * Whether the process has the library loaded, and is no "applistctl" of another verb than "host".
 * False for a process that /proc does not show to this user.
 */
bool IsHost(guint32 pid);

/** @return 0 for a process that has ended */
guint32 ParentOf(guint32 pid);

/** The processes that have the library loaded and use the same bus address; not this program. */
std::vector<guint32> WithLibrary();

} // namespace applistctl::HostProcess

#endif
