// The partner of a random run: a process that selects items, and is stopped, continued, killed and
// replaced.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "PartnerProcess.h"

inline namespace applist_test {

class DisturbedPartner {
public:
    /** Starts the process. @param random the source of the choices, shared with the run */
    explicit DisturbedPartner(std::mt19937_64& random);

    /** Selects one of the first @p count items of its list, or nothing after the last one. A
     *  stopped partner selects nothing. */
    void Select(std::size_t count);

    /** Sends a notification without effect on the list, unless the partner is stopped. */
    void Notify(int event);

    /** Continues a stopped partner. Replaces a third of the running ones, and stops the others. */
    void Disturb();

    /** Continues a stopped partner. */
    void Continue();

    /** The list and the selection, each as the bytes of its records. */
    std::pair<std::string, std::string> List() { return m_process->List(); }

    /** The numbers of actions by their names. */
    const std::map<std::string, unsigned long>& Done() const { return m_done; }

private:
    void Start();

    std::mt19937_64& m_random;
    std::unique_ptr<PartnerProcess> m_process;
    bool m_isStopped = false;
    std::map<std::string, unsigned long> m_done;
};

} // namespace applist_test
