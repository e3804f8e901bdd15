// One random run: edits, selections, clicks, events of the partner, and restarts of the partner.
// After each step, the list of the host is compared with the plain one.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>

#include "PartnerProcess.h"
#include "PlainList.h"
#include "RandomNumbers.h"

inline namespace applist_test {

class RandomRun : private ItemSelectionListener, ItemChangeListener, ItemClickListener {
public:
    explicit RandomRun(std::uint64_t seed);
    ~RandomRun() override;

    /** Throws std::runtime_error when a side differs from the expected list. */
    void Step();

    /** The number of each action. */
    const std::map<std::string, unsigned long>& Done() const { return m_done; }

    /** A hash of all states of the lists; the same for the same seed and steps. */
    std::uint64_t Digest() const { return m_digest; }

    std::size_t LongestList() const { return m_longest; }

private:
    void OnItemSelectionEvent(AppListModel* model) override;
    void OnItemChangeEvent(AppListModel* model) override;
    void OnItemClickedEvent(AppListModel* model) override;

    // The host
    void Edit();
    void EditAs(std::size_t kind);
    PlainItem* NewItem();
    PlainItem* AnyItem();
    PlainItem* AnyItemOrNull();
    void EditWhileThePartnerIsStopped();

    // The partner
    void PartnerEvent();
    void PartnerSelects();
    void PartnerCreatesItsList();
    void PartnerCalls();
    std::string AnyReply();
    void LosePartner();
    void StartPartner();
    void ReplacePartner();
    void WaitForPartner();
    void Notify(int event);
    void WaitForAllEvents();

    // The comparison
    void Expect(const std::string& request);
    void Check();
    void CheckRequests();
    void DropItems();
    void UpdateHash(const std::string& bytes);

    RandomNumbers m_numbers;
    PlainList m_plain;
    std::vector<std::unique_ptr<PlainItem>> m_pool;
    std::unique_ptr<PartnerProcess> m_partner; ///< null while there is none
    AppListProxy m_proxy;
    AppListModel* m_model = nullptr;
    std::vector<std::string> m_expectedRequests;
    struct Events {
        unsigned long changes = 0;
        unsigned long clicks = 0;
        unsigned long selections = 0;
    };
    Events m_expected;
    Events m_seen;
    bool m_wrongSelectionTold = false;
    std::size_t m_aloneFor = 0; ///< steps until the next partner starts
    std::map<std::string, unsigned long> m_done;
    std::uint64_t m_digest = 14695981039346656037U;
    std::size_t m_longest = 0;
};

} // namespace applist_test
