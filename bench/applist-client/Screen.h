// The thread of a user interface: frames of a millisecond that dispatch events, read and edit the
// list. Each call is timed, and so is the same edit of a plain vector, as the control.
#ifndef APPLIST_BENCH_SCREEN_H
#define APPLIST_BENCH_SCREEN_H

#include <chrono>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>

#include "ResultFile.h"

inline namespace applist_bench {

class Screen {
public:
    Screen();

    AppListClient& Client() { return *m_client; }

    /** A timed call of any function, which is a part of the thread's work called @p name. */
    void Call(const char* name, const std::function<void()>& function);

    /** Edits an item of the list, and the control. */
    void Edit();

    /** Frames until @p happened, with an edit and a read in each. */
    void RunUntil(const std::function<bool()>& happened);
    void RunFor(std::chrono::milliseconds time);

    /** Waits until the completions of all changes have run. */
    void WaitUntilQuiet();

    /** Sets the list and the control to new items. */
    void Fill(std::size_t count);

    /** Appends the calls since the last report. */
    void Report(const std::string& row, const std::string& out);

private:
    void Dispatch();
    AppListClient::Completion Done();
    std::string AnyId();

    DescriptorExecutor m_executor;
    std::unique_ptr<AppListClient> m_client;
    std::mt19937 m_random{1};
    std::size_t m_count = 0;
    std::size_t m_fills = 0;
    std::size_t m_changes = 0;
    std::size_t m_completed = 0;
    std::size_t m_edits = 0;
    std::mutex m_plainMutex;
    std::vector<AppListClient::Item> m_plain;
    std::vector<double> m_calls;
    const char* m_worst = "";
    double m_worstSeconds = 0;
    double m_worstProcessor = 0;
    std::vector<double> m_control;
};

} // namespace applist_bench

#endif
