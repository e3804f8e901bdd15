#include <client/PartnerList.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include <ipc/LiveEndpoints.h>

namespace applist_internal {

namespace {

// AddItems compares each item with the whole list. Above this length it takes longer than one
// request per item.
constexpr std::size_t LONGEST_LIST_FOR_ADD_ITEMS = 2048;

// A report of a new list reaches the model within this time.
constexpr std::chrono::seconds PUSH_DELAY{1};

} // namespace

// Called on the thread that iterates the main context

void PartnerList::Connect() {
    const std::unique_lock<std::mutex> lock = Exclusive();
    m_model = std::make_unique<RemoteAppListModel>();
    if (const auto control = LiveEndpoints::Find(&m_model->Endpoint())) {
        control->observer = static_cast<ChannelObserver*>(this);
    }
    m_model->AddItemSelectionListener(this);
    m_model->AddItemChangeListener(this);
    m_model->AddItemClickedListener(this);
    const SharedItems items = std::exchange(m_items, {});
    m_modelItems.clear();
    Append(items);
    if (!m_selectionWithoutModel.empty()) {
        Select(std::exchange(m_selectionWithoutModel, {}));
    }
}

void PartnerList::Disconnect() {
    const std::unique_lock<std::mutex> lock = Exclusive();
    m_selectionWithoutModel = Selection();
    m_model.reset();
}

void PartnerList::OnNotificationBegin() {
    Exclusive().release();
    m_isInNotification = true;
    m_isPush = false;
    m_isSoonAfterEdit = std::chrono::steady_clock::now() - m_lastEdit < PUSH_DELAY;
}

// A partner with a new list processes requests between its report and the model's push. A removal
// is then lost, and an added item comes first in the partner's list. The next change repairs the
// list. A selection or click alone needs no repair: the push sends the selection, and a repair
// would replace a newer selection of the partner.
void PartnerList::OnNotificationEnd() {
    m_isInNotification = false;
    if (m_isPush && m_isSoonAfterEdit) {
        m_observer.OnRefillNeeded();
    }
    m_exclusive.unlock();
}

// The request of this notification was the query of the selection. After a failure of this query
// the model has no selection, although the partner has not reported an empty selection.
void PartnerList::OnItemSelectionEvent(AppListModel* /*model*/) {
    m_isPush = false;
    if (m_hasQueryFailed) {
        m_observer.OnSelectionUnknown();
    } else {
        m_observer.OnSelection(Selection());
    }
}

// Called on the thread that makes the requests

RequestResult PartnerList::Make(const ListChange& change) {
    const std::unique_lock<std::mutex> lock = Exclusive();
    m_result = {};
    m_isEdit = change.kind != ListChange::Kind::SELECT && change.kind != ListChange::Kind::CLICK;
    MakeOne(change);
    m_observer.OnMade(Selection());
    return m_result;
}

void PartnerList::MakeOne(const ListChange& change) {
    switch (change.kind) {
    case ListChange::Kind::SET:
        Set(change.items);
        return;
    case ListChange::Kind::ADD:
        Append(change.items);
        return;
    case ListChange::Kind::REMOVE:
        Remove(IndexOf(change.uniqueId));
        return;
    case ListChange::Kind::MODIFY:
        Modify(IndexOf(change.uniqueId), change.items.front());
        return;
    case ListChange::Kind::REMOVE_ALL:
        RemoveAll();
        return;
    case ListChange::Kind::SELECT:
        Select(change.uniqueId);
        return;
    case ListChange::Kind::CLICK:
        Click(change.items.front());
        return;
    case ListChange::Kind::REFILL:
        Refill();
        return;
    case ListChange::Kind::DIFFERENCE:
        MakeDifference();
        return;
    }
}

void PartnerList::Set(const SharedItems& items) {
    const std::string selection = Selection();
    const bool stays = std::any_of(items.begin(), items.end(), [&](const SharedItem& item) {
        return item->uniqueId == selection;
    });
    SetItems(items, stays ? "" : selection);
    if (stays && Selection() != selection) {
        Select(selection);
    }
}

void PartnerList::MakeDifference() {
    SharedItems items;
    std::string selection;
    m_observer.OnDifferenceBegin(items, selection);
    SetItems(items, selection.empty() ? Selection() : "");
    if (!selection.empty() && Selection() != selection) {
        Select(selection);
    }
}

void PartnerList::Refill() {
    const SharedItems items = m_items;
    const std::string selection = Selection();
    RemoveAll();
    Append(items);
    Select(selection);
}

void PartnerList::SetItems(const SharedItems& items, const std::string& removed) {
    for (const ListStep& step : ListDifference(m_items, items, removed)) {
        MakeStep(step);
    }
}

void PartnerList::MakeStep(const ListStep& step) {
    switch (step.kind) {
    case ListStep::Kind::REMOVE_ALL:
        RemoveAll();
        return;
    case ListStep::Kind::REMOVE:
        Remove(step.position);
        return;
    case ListStep::Kind::MODIFY:
        Modify(step.position, step.items.front());
        return;
    case ListStep::Kind::APPEND:
        Append(step.items);
        return;
    }
}

void PartnerList::Append(const SharedItems& items) {
    auto next = items.begin();
    if (m_items.size() < LONGEST_LIST_FOR_ADD_ITEMS) {
        const std::size_t count =
            std::min(items.size(), LONGEST_LIST_FOR_ADD_ITEMS - m_items.size());
        next += static_cast<std::ptrdiff_t>(count);
        AppendTogether({items.begin(), next});
    }
    for (; next != items.end(); ++next) {
        AppendOne(*next);
    }
}

void PartnerList::AppendTogether(const SharedItems& items) {
    if (items.size() == 1) {
        AppendOne(items.front());
        return;
    }
    if (items.empty() || m_isAbandoned) {
        return;
    }
    std::vector<AppListItem*> pointers;
    for (const SharedItem& item : items) {
        m_items.push_back(item);
        m_modelItems.push_back(std::make_unique<ModelItem>(item, m_search));
        pointers.push_back(m_modelItems.back().get());
    }
    m_model == nullptr ? RequestWithoutModel() : m_model->AddItems(pointers);
}

void PartnerList::AppendOne(const SharedItem& item) {
    if (m_isAbandoned) {
        return;
    }
    m_items.push_back(item);
    m_modelItems.push_back(std::make_unique<ModelItem>(item, m_search));
    m_model == nullptr ? RequestWithoutModel() : m_model->AddItemAtEnd(m_modelItems.back().get());
}

void PartnerList::Remove(std::size_t index) {
    if (index == m_items.size() || m_isAbandoned) {
        return;
    }
    if (m_model != nullptr) {
        m_search = {m_modelItems[index].get(), nullptr};
        m_model->RemoveItem(m_modelItems[index].get());
        m_search = {};
    } else {
        RequestWithoutModel();
        if (m_selectionWithoutModel == m_items[index]->uniqueId) {
            m_selectionWithoutModel.clear();
        }
    }
    const auto offset = static_cast<std::ptrdiff_t>(index);
    m_items.erase(m_items.begin() + offset);
    m_modelItems.erase(m_modelItems.begin() + offset);
}

void PartnerList::Modify(std::size_t index, const SharedItem& item) {
    if (index == m_items.size() || m_isAbandoned) {
        return;
    }
    auto modelItem = std::make_unique<ModelItem>(item, m_search);
    if (m_model != nullptr) {
        m_search = {m_modelItems[index].get(), modelItem.get()};
        m_model->ModifyItem(m_modelItems[index].get(), modelItem.get());
        m_search = {};
    } else {
        RequestWithoutModel();
        if (m_selectionWithoutModel == m_items[index]->uniqueId) {
            m_selectionWithoutModel = item->uniqueId;
        }
    }
    m_items[index] = item;
    m_modelItems[index] = std::move(modelItem);
}

void PartnerList::RemoveAll() {
    if (m_isAbandoned) {
        return;
    }
    m_model == nullptr ? RequestWithoutModel() : m_model->RemoveAllItems();
    m_selectionWithoutModel.clear();
    m_items.clear();
    m_modelItems.clear();
}

void PartnerList::Select(const std::string& uniqueId) {
    const std::size_t index = IndexOf(uniqueId);
    if (index == m_items.size() || m_isAbandoned) {
        return;
    }
    if (m_model != nullptr) {
        m_model->SetSelection(m_modelItems[index].get());
    } else {
        RequestWithoutModel();
        m_selectionWithoutModel = uniqueId;
    }
}

void PartnerList::Click(const SharedItem& item) {
    if (m_isAbandoned) {
        return;
    }
    if (m_model == nullptr) {
        RequestWithoutModel();
        return;
    }
    ModelItem modelItem(item, m_search);
    m_model->SetClicked(&modelItem);
}

// The result of a change: the outcome of its worst request

void PartnerList::OnRequestEnd(Outcome outcome, const char* reason) {
    if (m_isInNotification) {
        m_isPush = true;
        m_hasQueryFailed = outcome != Outcome::ANSWERED;
        return;
    }
    if (m_isEdit && outcome != Outcome::NO_PARTNER) {
        m_lastEdit = std::chrono::steady_clock::now();
    }
    switch (outcome) {
    case Outcome::ANSWERED:
        return;
    case Outcome::NO_PARTNER:
        RequestWithoutModel();
        return;
    case Outcome::FAILED:
        if (m_result.outcome != AppListClient::FAILED) {
            m_result = {AppListClient::FAILED, reason};
        }
        return;
    }
}

void PartnerList::RequestWithoutModel() {
    if (m_result.outcome == AppListClient::ANSWERED) {
        m_result = {AppListClient::NO_PARTNER, "no partner is connected"};
    }
}

std::unique_lock<std::mutex> PartnerList::Exclusive() {
    const std::lock_guard<std::mutex> next(m_next);
    return std::unique_lock<std::mutex>(m_exclusive);
}

std::string PartnerList::Selection() {
    if (m_model == nullptr) {
        return m_selectionWithoutModel;
    }
    AppListItem* const item = m_model->GetSelection();
    return item == nullptr ? "" : item->GetUnigueId();
}

std::size_t PartnerList::IndexOf(const std::string& uniqueId) const {
    const auto found = std::find_if(m_items.begin(), m_items.end(), [&](const SharedItem& item) {
        return item->uniqueId == uniqueId;
    });
    return static_cast<std::size_t>(found - m_items.begin());
}

} // namespace applist_internal
