#include <partner/ExpectCommand.h>

#include <shared/CommandRunner.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

std::string Describe(const Request& request) {
    std::string text =
        request.name.empty() ? "a malformed one" : Protocol::RequestTitle(request.id);
    for (std::size_t i = 0; i < request.items.size(); ++i) {
        text += (i == 0 ? ": " : ", ") + ItemListing::Describe(request.items[i]);
    }
    return text + (request.problem.empty() ? "" : " (" + request.problem + ")");
}

std::vector<std::string> IdsOf(const std::vector<ListedItem>& items) {
    std::vector<std::string> ids;
    ids.reserve(items.size());
    for (const ListedItem& item : items) {
        ids.push_back(item.id);
    }
    return ids;
}

std::string Join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + ItemListing::Printable(word);
    }
    return text;
}

// The words after a request in the usage of its condition.
std::string ItemsOf(const RequestKind& kind) {
    switch (kind.maxRecords) {
    case 0:
        return "";
    case 1:
        return " [ID]";
    case 2:
        return " [OLD_ID NEW_ID]";
    default:
        return " [ID...]";
    }
}

} // namespace

std::string ExpectCommand::Describe() {
    return InTwoColumns(
        {{"connected", "the handshake is complete"},
         {"lost", "no host is bound"},
         {"REQUEST [ID...]", "the host's next request, with exactly the given items, if any"},
         {"nothing SECONDS", "no request arrives within this time"},
         {"list [ID...]", "the list has these items, in this order"},
         {"selection ID|none", "this item is selected"}});
}

std::string ExpectCommand::FindProblem(const Words& words) {
    const std::string& condition = words[0];
    const std::size_t count = words.size() - 1;
    double seconds = 0;
    if (condition == "connected" || condition == "lost") {
        return count == 0 ? "" : "usage: expect " + condition;
    }
    if (condition == "nothing") {
        return count == 1 && ParseSeconds(words[1], seconds) ? "" : "usage: expect nothing SECONDS";
    }
    if (condition == "list") {
        return "";
    }
    if (condition == "selection") {
        return count == 1 ? "" : "usage: expect selection ID|none";
    }
    const RequestKind* const kind = Protocol::FindRequest(condition);
    if (kind == nullptr) {
        return "expect " + Join(words) + ": no such condition; --help lists the conditions";
    }
    return count == 0 || (count >= kind->minRecords && count <= kind->maxRecords)
               ? ""
               : "usage: expect " + condition + ItemsOf(*kind);
}

bool ExpectCommand::Run(const Words& words) {
    m_condition = "expect " + Join(words);
    const Words rest(words.begin() + 1, words.end());
    if (words[0] == "connected" || words[0] == "lost") {
        return ExpectState(words[0] == "connected");
    }
    if (words[0] == "nothing") {
        return ExpectNothing(rest);
    }
    if (words[0] == "list") {
        return ExpectList(rest);
    }
    if (words[0] == "selection") {
        return ExpectSelection(rest);
    }
    return ExpectRequest(Protocol::FindRequest(words[0])->id, rest);
}

bool ExpectCommand::ExpectState(bool connected) {
    const auto isSo = [&] {
        return (m_session.Partner() != nullptr && m_session.Partner()->IsConnected()) == connected;
    };
    return WaitUntilTrue(isSo) || Fail(std::string(connected ? "no host" : "the host is there") +
                                       " after " + InSeconds(m_timeout));
}

bool ExpectCommand::ExpectRequest(std::int32_t id, const Words& ids) {
    auto& requests = m_session.Requests();
    if (!WaitUntilTrue([&] { return !requests.empty(); })) {
        return Fail("no request within " + InSeconds(m_timeout));
    }
    const Request request = requests.front();
    requests.pop_front();
    return (request.problem.empty() && request.id == id &&
            (ids.empty() || ids == IdsOf(request.items))) ||
           Fail("the next request is " + applistctl::Describe(request));
}

bool ExpectCommand::ExpectNothing(const Words& words) {
    double seconds = 0;
    ParseSeconds(words[0], seconds);
    const auto& requests = m_session.Requests();
    const bool came =
        WaitUntil([&] { return !requests.empty() || m_session.HasStopped(); }, seconds);
    return !came ||
           Fail(requests.empty() ? "" : "there is " + applistctl::Describe(requests.front()));
}

bool ExpectCommand::ExpectList(const Words& ids) {
    const auto present = [&] {
        return m_session.Partner() != nullptr ? IdsOf(m_session.Partner()->List().Items())
                                              : Words();
    };
    return WaitUntilTrue([&] { return present() == ids; }) ||
           Fail("after " + InSeconds(m_timeout) + " the list is " +
                (present().empty() ? "empty" : Join(present())));
}

bool ExpectCommand::ExpectSelection(const Words& words) {
    const auto present = [&]() -> std::string {
        const ListedItem* const item =
            m_session.Partner() != nullptr ? m_session.Partner()->List().Selection() : nullptr;
        return item != nullptr ? item->id : "none";
    };
    return WaitUntilTrue([&] { return present() == words[0]; }) ||
           Fail("after " + InSeconds(m_timeout) + " the selection is " +
                ItemListing::Printable(present()));
}

bool ExpectCommand::WaitUntilTrue(const std::function<bool()>& happened) const {
    WaitUntil([&] { return happened() || m_session.HasStopped(); }, m_timeout);
    return happened();
}

bool ExpectCommand::Fail(const std::string& problem) const {
    m_output.Error(m_condition + ": " + (m_session.HasStopped() ? "the run was stopped" : problem));
    return false;
}

} // namespace applistctl
