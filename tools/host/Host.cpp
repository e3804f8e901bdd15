#include <host/Host.h>

#include <limits>
#include <numeric>
#include <utility>

#include <applist/AppListModel.h>
#include <unistd.h>

namespace applistctl {

namespace {

constexpr std::size_t UNLIMITED = std::numeric_limits<std::size_t>::max();

// Joins the words from @p first on, for names without quotes.
std::string JoinFrom(const std::vector<std::string>& words, std::size_t first) {
    return std::accumulate(
        words.begin() + static_cast<std::ptrdiff_t>(first) + 1, words.end(), words[first],
        [](const std::string& text, const std::string& word) { return text + " " + word; });
}

} // namespace

Host::Host(Output& output)
    : m_output(output),
      m_libraryOutput(STDOUT_FILENO, [this](const std::string& line) { OnLibraryLine(line); }),
      m_list([this] { OnItemRead(); }) {
    m_list.Proxy().AddItemSelectionListener(this);
    m_list.Proxy().AddItemChangeListener(this);
    m_list.Proxy().AddItemClickedListener(this);
}

Host::~Host() {
    if (m_listWasReadId != 0) {
        g_source_remove(m_listWasReadId);
    }
}

std::vector<Command> Host::CommandsFor(Host* host) {
    using Words = std::vector<std::string>;
    return {
        {"add", "ID NAME", "append an item", 2, UNLIMITED,
         [host](const Words& words) { return host->Add(words); }},
        {"remove", "ID", "remove the first item with this id", 1, 1,
         [host](const Words& words) { return host->Remove(words); }},
        {"modify", "ID NEW_ID NAME", "replace the first item with this id", 3, UNLIMITED,
         [host](const Words& words) { return host->Modify(words); }},
        {"select", "ID", "select the first item with this id", 1, 1,
         [host](const Words& words) { return host->Select(words); }},
        {"clear", "", "remove all items", 0, 0, [host](const Words&) { return host->Clear(); }},
        {"list", "", "show the list and the selection (only after an event of the partner)", 0, 0,
         [host](const Words&) { return host->List(); }},
        {"click", "ID", "report a click to the partner (only after an event of the partner)", 1, 1,
         [host](const Words& words) { return host->Click(words); }},
    };
}

// Commands

void Host::Fill(const std::vector<ListedItem>& items) {
    ItemListing::ShowItems(m_output, items);
    if (items.empty()) {
        return;
    }
    Request("AddItems: " + ItemListing::Count(items.size()), [&] { m_list.AddAll(items); });
}

bool Host::Add(const std::vector<std::string>& arguments) {
    const ListedItem item{JoinFrom(arguments, 1), arguments[0]};
    Request("AddItemAtEnd: " + ItemListing::Describe(item), [&] { m_list.Append(item); });
    return true;
}

bool Host::Remove(const std::vector<std::string>& arguments) {
    HostItem* const item = FindOrReport(arguments[0]);
    if (item == nullptr) {
        return false;
    }
    Request("RemoveItem: " + ItemListing::Describe(item->Listed()), [&] { m_list.Remove(item); });
    return true;
}

bool Host::Modify(const std::vector<std::string>& arguments) {
    HostItem* const item = FindOrReport(arguments[0]);
    if (item == nullptr) {
        return false;
    }
    const ListedItem replacement{JoinFrom(arguments, 2), arguments[1]};
    Request("ModifyItem: " + ItemListing::Describe(item->Listed()) + " becomes " +
                ItemListing::Describe(replacement),
            [&] { m_list.Replace(item, replacement); });
    return true;
}

bool Host::Select(const std::vector<std::string>& arguments) {
    HostItem* const item = FindOrReport(arguments[0]);
    if (item == nullptr) {
        return false;
    }
    if (arguments[0].empty()) {
        m_output.Error("an item with an empty id cannot be selected");
        return false;
    }
    Request("SetSelection: " + ItemListing::Describe(item->Listed()), [&] {
        m_list.Proxy().SetSelection(item);
        m_list.DropUnused();
    });
    return true;
}

bool Host::Clear() {
    Request("RemoveAllItems", [&] { m_list.Clear(); });
    return true;
}

bool Host::List() {
    if (!HasModelOrReports()) {
        return false;
    }
    std::vector<ListedItem> items;
    for (AppListItem* const item : m_model->GetAllItems()) {
        items.push_back(static_cast<HostItem*>(item)->Listed());
    }
    ItemListing::ShowList(m_output, items, Selection());
    return true;
}

bool Host::Click(const std::vector<std::string>& arguments) {
    HostItem* const item = HasModelOrReports() ? FindOrReport(arguments[0]) : nullptr;
    if (item == nullptr) {
        return false;
    }
    Request("SetClicked: " + ItemListing::Describe(item->Listed()),
            [&] { m_model->SetClicked(item); });
    return true;
}

HostItem* Host::FindOrReport(const std::string& id) {
    HostItem* const item = m_list.Find(id);
    if (item == nullptr) {
        m_output.Error("no item with the id \"" + id + "\"");
    }
    return item;
}

bool Host::HasModelOrReports() {
    if (m_model == nullptr) {
        m_output.Error("no event so far: this command needs the model, which the first event of "
                       "the partner provides");
    }
    return m_model != nullptr;
}

// Prints the operation, and records whether a partner received its request.
template <class Operation>
void Host::Request(const std::string& text, Operation operation) {
    m_output.Sent(text);
    m_isInRequest = true;
    m_requestWasLost = false;
    operation();
    m_libraryOutput.Drain();
    m_isInRequest = false;
    if (!m_requestWasLost) {
        m_partner = Partner::Present;
    }
}

const ListedItem* Host::Selection() {
    AppListItem* const item = m_list.Proxy().GetSelection();
    return item != nullptr ? &static_cast<HostItem*>(item)->Listed() : nullptr;
}

// Output and events of the library

void Host::OnLibraryLine(const std::string& line) {
    // The two lines that JavaMWDbusRemote::SendMessage writes instead of sending.
    if (line != "Connection not set." && line != "Proxy not ready") {
        m_output.Line("the library: " + ItemListing::Printable(line));
        return;
    }
    m_requestWasLost = true;
    m_output.State((m_partner == Partner::Present ? "the partner is gone" : "no partner yet") +
                   std::string(": changed on this side only. The next partner receives the whole "
                               "list."));
    if (m_partner == Partner::Awaited) {
        // Not for the first list, which always precedes the partner. The library reports refusals
        // of the bus in the log only.
        m_output.State("run \"applistctl check\" to find out why there is no partner");
    }
    m_partner = m_partner == Partner::Unknown ? Partner::Awaited : Partner::Absent;
}

void Host::OnEvent(AppListModel* model, const std::string& text) {
    m_libraryOutput.Drain();
    m_model = model;
    m_partner = Partner::Present;
    // The library has read the items for this event, not for a new list.
    if (m_listWasReadId != 0) {
        g_source_remove(std::exchange(m_listWasReadId, 0U));
    }
    m_output.Received(text);
    m_list.DropUnused();
}

void Host::OnItemSelectionEvent(AppListModel* model) {
    const ListedItem* const selection = Selection();
    OnEvent(model, "OnItemSelectionEvent: the partner has selected " +
                       (selection != nullptr ? ItemListing::Describe(*selection) : "none"));
}

void Host::OnItemChangeEvent(AppListModel* model) {
    OnEvent(model, "OnItemChangeEvent: the partner's list has changed");
}

void Host::OnItemClickedEvent(AppListModel* model) {
    OnEvent(model, "OnItemClickedEvent: the partner reports a click");
}

// Called with the lock of the list held, so the report waits for the main loop. The high priority
// puts the report before the next event of the partner.
void Host::OnItemRead() {
    if (!m_isInRequest && m_listWasReadId == 0) {
        m_requestWasLost = false;
        m_listWasReadId = g_idle_add_full(G_PRIORITY_HIGH, OnListWasRead, this, /*notify=*/nullptr);
    }
}

gboolean Host::OnListWasRead(void* user_data) {
    auto* const self = static_cast<Host*>(user_data);
    self->m_listWasReadId = 0;
    self->m_libraryOutput.Drain();
    if (self->m_requestWasLost) {
        return G_SOURCE_REMOVE;
    }
    self->m_partner = Partner::Present;
    const ListedItem* const selection = self->Selection();
    self->m_output.Sent("the partner has a new list: the library sent it all " +
                        ItemListing::Count(self->m_list.Size()) + ", selected: " +
                        (selection != nullptr ? ItemListing::Describe(*selection) : "none"));
    return G_SOURCE_REMOVE;
}

} // namespace applistctl
