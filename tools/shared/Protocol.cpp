#include <shared/Protocol.h>

#include <algorithm>
#include <iterator>

namespace applistctl {

namespace {

// A row without a word is one that the switches in the header leave out.
constexpr bool AllHaveWords() {
    for (const RequestKind& kind : Protocol::REQUESTS) {
        if (kind.word == nullptr) {
            return false;
        }
    }
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        if (kind.word == nullptr) {
            return false;
        }
    }
    return true;
}
static_assert(AllHaveWords(), "WordOf() or Describe() lacks a request or a notification");

template <class Kinds, class Predicate>
auto Find(const Kinds& kinds, const Predicate& predicate) -> decltype(std::begin(kinds)) {
    const auto found = std::find_if(std::begin(kinds), std::end(kinds), predicate);
    return found != std::end(kinds) ? found : nullptr;
}

} // namespace

const RequestKind* Protocol::FindRequest(std::int32_t id) {
    return Find(REQUESTS, [id](const RequestKind& kind) { return kind.id == id; });
}

const RequestKind* Protocol::FindRequest(const std::string& word) {
    return Find(REQUESTS, [&word](const RequestKind& kind) { return word == kind.word; });
}

const NotificationKind* Protocol::FindNotification(std::int32_t id) {
    return Find(NOTIFICATIONS, [id](const NotificationKind& kind) { return kind.id == id; });
}

std::string Protocol::RequestTitle(std::int32_t id) {
    const RequestKind* const kind = FindRequest(id);
    const std::string number = std::to_string(id);
    return kind != nullptr ? std::string(kind->name) + " (" + number + ")" : number;
}

std::string Protocol::RequestWords() {
    std::string words;
    for (const RequestKind& kind : REQUESTS) {
        words += (words.empty() ? "" : "|") + std::string(kind.word);
    }
    return words;
}

} // namespace applistctl
