#include "RandomRun.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

#include "EventLog.h"
#include "Hex.h"
#include "MainLoop.h"

namespace {

constexpr std::size_t LONG_LIST = 60;

std::vector<AppListItem*> AsItems(const PlainList::Items& items) {
    return {items.begin(), items.end()};
}

void Await(const std::function<bool()>& happened, const char* what) {
    if (!MainLoop::IterateUntil(happened, std::chrono::seconds(60))) {
        throw std::runtime_error(std::string("waited in vain for ") + what);
    }
}

} // namespace

RandomRun::RandomRun(std::uint64_t seed) : m_numbers(seed) {
    m_proxy.AddItemSelectionListener(this);
    m_proxy.AddItemChangeListener(this);
    m_proxy.AddItemClickedListener(this);
    StartPartner();
    WaitForAllEvents();
}

RandomRun::~RandomRun() = default;

void RandomRun::Step() {
    if (m_partner == nullptr && m_aloneFor-- == 0) {
        StartPartner();
    } else if (m_partner == nullptr) {
        Edit();
    } else if (const std::size_t kind = m_numbers.Pick(1000); kind < 700) {
        Edit();
    } else if (kind < 985) {
        PartnerEvent();
    } else if (kind < 990) {
        EditWhileThePartnerIsStopped();
    } else if (kind < 993) {
        ReplacePartner();
    } else {
        LosePartner();
    }
    Check();
    DropItems();
}

// The host

void RandomRun::Edit() {
    // A list that has grown long shrinks more often than it grows.
    const bool shrinks = m_plain.items.size() > LONG_LIST && m_numbers.Chance(60);
    EditAs(shrinks ? 62 : m_numbers.Pick(100));
}

void RandomRun::EditAs(std::size_t kind) {
    if (kind < 20) {
        PlainList::Items items;
        for (std::size_t left = m_numbers.Pick(5); left > 0; --left) {
            items.push_back(AnyItemOrNull());
        }
        ++m_done["add items"];
        m_proxy.AddItems(AsItems(items));
        Expect(m_plain.AddItems(items));
    } else if (kind < 40) {
        PlainItem* const item = AnyItemOrNull();
        ++m_done["add item at end"];
        m_proxy.AddItemAtEnd(item);
        Expect(m_plain.AddItemAtEnd(item));
    } else if (kind < 42) {
        ++m_done["remove all items"];
        m_proxy.RemoveAllItems();
        Expect(m_plain.RemoveAllItems());
    } else if (kind < 65) {
        PlainItem* const item = AnyItemOrNull();
        ++m_done["remove item"];
        m_proxy.RemoveItem(item);
        Expect(m_plain.RemoveItem(item));
    } else if (kind < 80) {
        PlainItem* const before = AnyItemOrNull();
        PlainItem* const after = AnyItemOrNull();
        ++m_done["modify item"];
        m_proxy.ModifyItem(before, after);
        Expect(m_plain.ModifyItem(before, after));
    } else if (kind < 93) {
        PlainItem* const item = AnyItemOrNull();
        ++m_done["set selection"];
        m_proxy.SetSelection(item);
        Expect(m_plain.SetSelection(item));
    } else {
        PlainItem* const item = AnyItemOrNull();
        ++m_done["set clicked"];
        m_model->SetClicked(item);
        Expect(m_plain.SetClicked(item));
    }
}

// Often one of few ids, so that ids repeat, and otherwise arbitrary bytes.
PlainItem* RandomRun::NewItem() {
    const bool withLineFeeds = m_numbers.Chance(5);
    Records::Record record;
    record.name = m_numbers.Bytes(24, withLineFeeds);
    if (m_numbers.Chance(40)) {
        record.id = std::string(1, "abcdefghijkl"[m_numbers.Pick(12)]);
    } else {
        record.id = m_numbers.Bytes(24, withLineFeeds);
    }
    m_pool.push_back(std::make_unique<PlainItem>(record));
    return m_pool.back().get();
}

PlainItem* RandomRun::AnyItem() {
    if (!m_plain.items.empty() && m_numbers.Chance(50)) {
        return m_plain.items[m_numbers.Pick(m_plain.items.size())];
    }
    return NewItem();
}

PlainItem* RandomRun::AnyItemOrNull() {
    return m_numbers.Chance(3) ? nullptr : AnyItem();
}

// The request waits in the partner's socket until the partner continues.
void RandomRun::EditWhileThePartnerIsStopped() {
    ++m_done["partner stopped and continued"];
    m_partner->Stop();
    std::thread continues([this, ms = m_numbers.Pick(10)] {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        m_partner->Continue();
    });
    Edit();
    continues.join();
}

// The partner

void RandomRun::PartnerEvent() {
    const std::size_t kind = m_numbers.Pick(100);
    if (kind < 20) {
        ++m_done["change event"];
        Notify(Records::CHANGE_EVENT);
        ++m_expected.changes;
    } else if (kind < 40) {
        ++m_done["click event"];
        Notify(Records::CLICKED_EVENT);
        ++m_expected.clicks;
    } else if (kind < 45) {
        ++m_done["event of an unknown id"];
        Notify(5 + static_cast<int>(m_numbers.Pick(1000000)));
    } else if (kind < 50) {
        ++m_done["event too short for an id"];
        m_partner->Ask("notify " + Hex::Of(m_numbers.Bytes(3, true)));
    } else if (kind < 55) {
        PartnerCalls();
    } else if (kind < 80) {
        PartnerSelects();
    } else {
        PartnerCreatesItsList();
    }
    WaitForAllEvents();
}

void RandomRun::PartnerSelects() {
    ++m_done["selection event"];
    const std::string reply = AnyReply();
    m_partner->Ask("select " + Hex::Of(reply));
    m_plain.MoveSelection(reply);
    Expect(Records::Frame("", Records::GET_SELECTION));
    Notify(Records::SELECTION_EVENT);
    ++m_expected.selections;
}

// The record of an item or of none, of several, cut short, or any bytes.
std::string RandomRun::AnyReply() {
    const std::size_t kind = m_numbers.Pick(10);
    if (kind == 0) {
        return {};
    }
    if (kind == 1) {
        return m_numbers.Bytes(60, true);
    }
    std::string reply = Records::Write(AnyItem()->record);
    if (kind == 2) {
        reply += Records::Write(AnyItem()->record);
    }
    if (kind == 3) {
        reply.pop_back();
    }
    return reply;
}

void RandomRun::PartnerCreatesItsList() {
    ++m_done["created event"];
    m_partner->Ask("created");
    for (const std::string& request : m_plain.Push()) {
        Expect(request);
    }
    WaitForAllEvents();
    const auto [list, selection] = m_partner->List();
    if (list != m_plain.PartnersList()) {
        throw std::runtime_error("the partner's list is " + Hex::Of(list) + " and not " +
                                 Hex::Of(m_plain.PartnersList()));
    }
    if (selection != m_plain.PartnersSelection()) {
        throw std::runtime_error("the partner's selection is " + Hex::Of(selection));
    }
}

// The reply follows while the host waits for the next event, so nothing waits for it here.
void RandomRun::PartnerCalls() {
    ++m_done["call of this side"];
    m_partner->SendCommand("call " + Hex::Of(m_numbers.Bytes(40, true)));
}

void RandomRun::LosePartner() {
    if (m_numbers.Chance(50)) {
        ++m_done["partner killed"];
        m_partner->Kill();
    } else {
        ++m_done["partner left"];
        m_partner->Leave();
    }
    m_partner.reset();
    m_expectedRequests.clear();
    m_aloneFor = m_numbers.Pick(8);
}

void RandomRun::StartPartner() {
    ++m_done["partner started"];
    m_partner = std::make_unique<PartnerProcess>(std::vector<std::string>{"--keep-requests"});
    WaitForPartner();
}

// The new process starts before the old one exits.
void RandomRun::ReplacePartner() {
    ++m_done["partner replaced at once"];
    auto next = std::make_unique<PartnerProcess>(std::vector<std::string>{"--keep-requests"});
    m_partner->Kill();
    m_partner = std::move(next);
    m_expectedRequests.clear();
    WaitForPartner();
}

void RandomRun::WaitForPartner() {
    Await([this] { return EventLog::Partner() == m_partner->Name(); }, "the partner");
}

void RandomRun::Notify(int event) {
    const std::string payload = m_numbers.Bytes(20, true);
    m_partner->Ask("notify " + Hex::Of(Records::Frame(payload, event)));
}

// Notifications arrive in order: after a change event, all earlier notifications have been handled.
void RandomRun::WaitForAllEvents() {
    ++m_expected.changes;
    m_partner->SendCommand("notify " + Hex::Of(Records::Frame("", Records::CHANGE_EVENT)));
    Await([this] { return m_seen.changes == m_expected.changes; }, "a notification");
    if (m_seen.clicks != m_expected.clicks || m_seen.selections != m_expected.selections) {
        throw std::runtime_error("listeners were called more or less often than events came");
    }
    if (m_wrongSelectionTold) {
        throw std::runtime_error("a selection listener saw the wrong selection");
    }
}

void RandomRun::OnItemSelectionEvent(AppListModel* model) {
    ++m_seen.selections;
    m_wrongSelectionTold = m_wrongSelectionTold || model->GetSelection() != m_plain.selection;
}

void RandomRun::OnItemChangeEvent(AppListModel* model) {
    ++m_seen.changes;
    m_model = model;
}

void RandomRun::OnItemClickedEvent(AppListModel* /*model*/) {
    ++m_seen.clicks;
}

// The comparison

void RandomRun::Expect(const std::string& request) {
    if (m_partner != nullptr && !request.empty()) {
        m_expectedRequests.push_back(request);
    }
    UpdateHash(request);
}

void RandomRun::Check() {
    m_longest = std::max(m_longest, m_plain.items.size());
    if (m_model->GetAllItems() != AsItems(m_plain.items)) {
        throw std::runtime_error("the library's list differs");
    }
    if (m_model->GetItemsCount() != static_cast<int>(m_plain.items.size())) {
        throw std::runtime_error("the library's count differs");
    }
    if (m_proxy.GetSelection() != m_plain.selection) {
        throw std::runtime_error("the library's selection differs");
    }
    for (const PlainItem* const item : m_plain.items) {
        UpdateHash(item->record.id);
    }
    UpdateHash(m_plain.selection == nullptr ? "" : m_plain.selection->record.name);
    CheckRequests();
}

void RandomRun::CheckRequests() {
    if (m_partner == nullptr) {
        return;
    }
    const std::vector<std::string> requests = m_partner->Requests();
    if (requests != m_expectedRequests) {
        std::string text = "the partner got";
        for (const std::string& request : requests) {
            text += " " + Hex::Of(request);
        }
        text += " instead of";
        for (const std::string& request : m_expectedRequests) {
            text += " " + Hex::Of(request);
        }
        throw std::runtime_error(text);
    }
    m_expectedRequests.clear();
}

// Removed items are deleted at once, so that a memory checker reports each later use.
void RandomRun::DropItems() {
    const auto isLoose = [this](const std::unique_ptr<PlainItem>& item) {
        return !m_plain.Holds(item.get());
    };
    m_pool.erase(std::remove_if(m_pool.begin(), m_pool.end(), isLoose), m_pool.end());
}

void RandomRun::UpdateHash(const std::string& bytes) {
    for (const char byte : bytes) {
        m_digest = (m_digest ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    m_digest = (m_digest ^ 256U) * 1099511628211U;
}
