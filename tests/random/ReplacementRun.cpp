#include "ReplacementRun.h"

#include <chrono>
#include <regex>
#include <stdexcept>
#include <utility>

#include "MainLoop.h"

namespace {

constexpr std::size_t SHORTEST_LIST = 3;
constexpr std::size_t LONGEST_LIST = 40;
constexpr std::size_t LONGEST_PAUSE_MS = 20;

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// The columns of a list are as wide as the widest name.
std::string WithoutColumns(const std::string& text) {
    static const std::regex spaces(" +");
    return std::regex_replace(text, spaces, " ");
}

std::string Describe(const PlainItem& item) {
    return item.record.name + " (" + item.record.id + ")";
}

} // namespace

ReplacementRun::ReplacementRun(std::uint64_t seed, std::string fault)
    : m_numbers(seed), m_fault(std::move(fault)) {
    StartHost();
    StartPartner();
}

void ReplacementRun::Step() {
    const std::size_t kind = m_numbers.Pick(100);
    if (kind < 6) {
        KillOrReplace(m_host, "host");
    } else if (kind < 12) {
        KillOrReplace(m_partner, "partner");
    } else if (kind < 22) {
        StopOrContinue(m_host, "host");
    } else if (kind < 32) {
        StopOrContinue(m_partner, "partner");
    } else if (m_host.process == nullptr) {
        StartHost();
    } else if (m_partner.process == nullptr) {
        StartPartner();
    } else if (kind < 45) {
        PartnerEvent();
    } else {
        Edit();
    }
    ReadOutput();
}

// Stop, continue, kill, replace

// The list of a new host consists of the sample applications.
void ReplacementRun::StartHost() {
    ++m_done["host started"];
    m_host.process =
        std::make_unique<ToolProcess>(std::vector<std::string>{"host", SAMPLE_APPLICATIONS});
    m_host.isStopped = false;
    m_plain = PlainList();
    PlainList::Items items;
    const Records::Record samples[] = {{"Calculator", "calculator.desktop"},
                                       {"Clock", "clock.desktop"},
                                       {"Music Player", "media-music-player.desktop"},
                                       {"Navigation", "navigation.desktop"},
                                       {"Photos", "media-photos.desktop"}};
    for (const Records::Record& sample : samples) {
        m_pool.push_back(std::make_unique<PlainItem>(sample));
        items.push_back(m_pool.back().get());
    }
    m_plain.AddItems(items);
    LetAnnounce(m_host, "-> AddItems");
}

void ReplacementRun::StartPartner() {
    ++m_done["partner started"];
    m_partner.process = std::make_unique<ToolProcess>(std::vector<std::string>{"partner"});
    m_partner.isStopped = false;
    m_connections = 0;
    if (!m_fault.empty()) {
        m_partner.process->Send("fault " + m_fault);
    }
    LetAnnounce(m_partner, "-> _SERVICE_SYN");
}

// Most processes have announced themselves before the next step, others are still starting.
void ReplacementRun::LetAnnounce(const Side& side, const std::string& line) {
    if (m_numbers.Chance(80) && !side.process->WaitFor(line)) {
        throw std::runtime_error("a process did not announce itself");
    }
    LetTimePass();
}

void ReplacementRun::StopOrContinue(Side& side, const std::string& name) {
    if (side.process == nullptr) {
        return;
    }
    if (side.isStopped) {
        ++m_done[name + " continued"];
        Continue(side);
    } else {
        ++m_done[name + " stopped"];
        side.process->Stop();
        side.isStopped = true;
    }
    LetTimePass();
}

void ReplacementRun::KillOrReplace(Side& side, const std::string& name) {
    if (side.process == nullptr) {
        return;
    }
    ++m_done[name + " killed"];
    side.process.reset();
    if (m_numbers.Chance(70)) {
        &side == &m_host ? StartHost() : StartPartner();
    }
    LetTimePass();
}

void ReplacementRun::Continue(Side& side) {
    if (side.isStopped) {
        side.process->Continue();
        side.isStopped = false;
    }
}

// Edits of the host

void ReplacementRun::Edit() {
    const std::size_t kind = m_numbers.Pick(100);
    const std::size_t size = m_plain.items.size();
    if (size <= SHORTEST_LIST || (kind < 30 && size < LONGEST_LIST)) {
        AddItem();
    } else if (kind < 60) {
        ++m_done["item removed"];
        PlainItem* const item = AnyItem();
        m_host.process->Send("remove " + item->record.id);
        m_plain.RemoveItem(item);
    } else if (kind < 80) {
        ++m_done["item modified"];
        PlainItem* const before = AnyItem();
        PlainItem* const after = NewItem();
        m_host.process->Send("modify " + before->record.id + " " + after->record.id + " " +
                             after->record.name);
        m_plain.ModifyItem(before, after);
    } else {
        ++m_done["item selected"];
        PlainItem* const item = AnyItem();
        m_host.process->Send("select " + item->record.id);
        m_plain.SetSelection(item);
    }
}

void ReplacementRun::AddItem() {
    ++m_done["item added"];
    PlainItem* const item = NewItem();
    m_host.process->Send("add " + item->record.id + " " + item->record.name);
    m_plain.AddItemAtEnd(item);
}

PlainItem* ReplacementRun::NewItem() {
    const std::string id = "item" + std::to_string(m_pool.size());
    m_pool.push_back(std::make_unique<PlainItem>("Name of " + id, id));
    return m_pool.back().get();
}

PlainItem* ReplacementRun::AnyItem() {
    return m_plain.items[m_numbers.Pick(m_plain.items.size())];
}

// Events of the partner

// None of these events changes the list. The commands fail without a host.
void ReplacementRun::PartnerEvent() {
    const std::string event = m_numbers.Chance(50) ? "change" : "click 1";
    ++m_done["partner's " + event.substr(0, event.find(' '))];
    m_partner.process->Send(event);
}

// At a quiet point only: the order of a selection and an edit under way is not known.
void ReplacementRun::PartnerSelects() {
    ++m_done["partner's selection"];
    std::size_t place = m_numbers.Pick(m_plain.items.size());
    if (m_plain.items[place] == m_plain.selection) {
        place = (place + 1) % m_plain.items.size(); // no change would be equal at once
    }
    m_partner.process->Send("select " + std::to_string(place + 1));
    m_plain.MoveSelection(m_plain.items[place]->Bytes());
}

// At a quiet point only, as the host answers with its list and its selection.
void ReplacementRun::PartnerRecreatesItsList() {
    ++m_done["partner's recreate"];
    m_partner.process->Send("recreate");
}

// The comparison

void ReplacementRun::Compare() {
    ++m_done["comparison"];
    if (m_host.process == nullptr) {
        StartHost();
    }
    if (m_partner.process == nullptr) {
        StartPartner();
    }
    Continue(m_host);
    Continue(m_partner);
    AddItem(); // equal lists from before do not suffice
    WaitUntilEqual("after edits");
    PartnerSelects();
    WaitUntilEqual("after a selection of the partner");
    PartnerRecreatesItsList();
    WaitUntilEqual("after a new list of the partner");
}

void ReplacementRun::WaitUntilEqual(const std::string& when) {
    const std::string plain = PlainText();
    std::string hostList = "not known, the host has received no event";
    std::string partnerList;
    const bool isEqual = MainLoop::IterateUntil(
        [&] {
            ReadOutput();
            if (!HostHasItsModel()) {
                return false;
            }
            hostList = WithoutColumns(m_host.process->List());
            partnerList = WithoutColumns(m_partner.process->List());
            return hostList == plain && partnerList == plain;
        },
        std::chrono::seconds(60));
    if (!isEqual) {
        throw std::runtime_error(when + " the lists differ\nplain " + plain + "host " + hostList +
                                 "\npartner " + partnerList);
    }
}

// The host's "list" needs an event. The partner sends one in each of its connections.
bool ReplacementRun::HostHasItsModel() {
    const std::size_t connections = Count(m_partner.process->Output(), "connected with ");
    if (connections != m_connections) {
        m_connections = connections;
        m_partner.process->Send("change");
    }
    return m_host.process->Output().find("<- On") != std::string::npos;
}

// The form of the answer to "list", one space between all words.
std::string ReplacementRun::PlainText() const {
    const std::size_t size = m_plain.items.size();
    std::string text = "list: " + std::to_string(size) + " items\n";
    for (std::size_t i = 0; i < size; ++i) {
        const PlainItem& item = *m_plain.items[i];
        text += &item == m_plain.selection ? " * " : " ";
        text += std::to_string(i + 1) + " " + item.record.name + " " + item.record.id + "\n";
    }
    return text +
           "selection: " + (m_plain.selection != nullptr ? Describe(*m_plain.selection) : "none") +
           "\n";
}

// A random pause, in which the processes continue.
void ReplacementRun::LetTimePass() {
    const std::chrono::milliseconds pause(m_numbers.Pick(LONGEST_PAUSE_MS + 1));
    MainLoop::IterateUntil([] { return false; }, pause);
}

// A process with a full pipe would block.
void ReplacementRun::ReadOutput() {
    for (const Side* const side : {&m_host, &m_partner}) {
        if (side->process != nullptr) {
            side->process->Output();
            side->process->Errors();
        }
    }
}
