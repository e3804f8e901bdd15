// One run of a check in a process of its own. The library keeps its connection until the end of its
// process, so each run needs a new one. The parent shows the findings as they come, and ends a run
// that exceeds its time limit.
#ifndef APPLIST_TOOLS_CHECKPROCESS_H
#define APPLIST_TOOLS_CHECKPROCESS_H

#include <functional>
#include <string>

#include <sys/types.h>

#include <check/Checklist.h>
#include <check/DelayedSignals.h>

namespace applistctl {

/** The messages of the run to the parent. */
class CheckChannel {
public:
    explicit CheckChannel(int descriptor) : m_descriptor(descriptor) {}

    void SendFinding(int index, const Finding& finding) const;
    void SendText(const std::string& text) const;
    void SendRest(const std::string& reason) const; ///< why the run ends before its last duty
    void SendGroup(pid_t group) const; ///< the parent ends this process group after the time limit

private:
    void Send(const std::string& line) const;

    int m_descriptor;
};

struct CheckReceiver {
    std::function<void(int index, const Finding& finding)> onFinding;
    std::function<void(const std::string& text)> onText;
    std::function<void(const std::string& reason)> onRest;
};

struct CheckEnd {
    int status = 0;             ///< the result of the work
    int signal = 0;             ///< of a run that ended by a signal
    bool isTimedOut = false;    ///< ended by the time limit
    bool isInterrupted = false; ///< ended by a delayed signal, which is still pending
    double seconds = 0;
};

/**
 * Runs @p work in a child process. The caller must have no threads.
 * @param signals end the run
 * @param limit seconds; 0 for no limit
 */
CheckEnd RunCheck(const std::function<int(const CheckChannel&)>& work,
                  const CheckReceiver& receiver, const DelayedSignals& signals, double limit);

} // namespace applistctl

#endif
