// One random run of host and partner as two processes: edits and events, while either process is
// stopped, continued, killed and replaced. At each quiet point both have the plain list.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "PlainList.h"
#include "RandomNumbers.h"
#include "ToolProcess.h"

inline namespace applist_test {

class ReplacementRun {
public:
    /** @param fault a fault of every partner, or empty */
    ReplacementRun(std::uint64_t seed, std::string fault);

    void Step();

    /**
     * Both processes run, one of them started again if necessary. Waits until both have the plain
     * list and selection. Throws std::runtime_error when they do not in time.
     */
    void Compare();

    /** The number of steps of each kind. */
    const std::map<std::string, unsigned long>& Done() const { return m_done; }

private:
    /** A process, absent between its end and its replacement. */
    struct Side {
        std::unique_ptr<ToolProcess> process;
        bool isStopped = false;
    };

    void StartHost();
    void StartPartner();
    void StopOrContinue(Side& side, const std::string& name);
    void LetAnnounce(const Side& side, const std::string& line);
    void KillOrReplace(Side& side, const std::string& name);
    static void Continue(Side& side);

    void Edit();
    void AddItem();
    PlainItem* NewItem();
    PlainItem* AnyItem();
    void PartnerEvent();
    void PartnerSelects();
    void PartnerRecreatesItsList();

    void WaitUntilEqual(const std::string& when);
    bool HostHasItsModel();
    std::string PlainText() const;
    void LetTimePass();
    void ReadOutput();

    RandomNumbers m_numbers;
    const std::string m_fault;
    Side m_host;
    Side m_partner;
    PlainList m_plain;
    std::vector<std::unique_ptr<PlainItem>> m_pool; ///< of all items so far
    std::size_t m_connections = 0; ///< of the present partner, when it sent the last change event
    std::map<std::string, unsigned long> m_done;
};

} // namespace applist_test
