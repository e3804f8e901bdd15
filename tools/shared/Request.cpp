#include <shared/Request.h>

#include <algorithm>
#include <limits>

#include <applist/MessageIds.h>
#include <ipc/MessageFraming.h>
#include <shared/ItemStream.h>

namespace {

constexpr std::size_t ANY_NUMBER = std::numeric_limits<std::size_t>::max();

struct Kind {
    std::int32_t id;
    const char* name;
    const char* word;
    std::size_t leastItems;
    std::size_t mostItems;
};

constexpr Kind KINDS[] = {
    {APPLIST_SET_SELECTION_FNC, "APPLIST_SET_SELECTION_FNC", "select", 1, 1},
    {APPLIST_GET_SELECTION_FNC, "APPLIST_GET_SELECTION_FNC", "query", 0, 0},
    {APPLIST_REMOVE_ALL_ITEMS_FNC, "APPLIST_REMOVE_ALL_ITEMS_FNC", "clear", 0, 0},
    {APPLIST_ADD_ITEMS_FNC, "APPLIST_ADD_ITEMS_FNC", "add", 1, ANY_NUMBER},
    {APPLIST_ADD_ITEM_AT_END_FNC, "APPLIST_ADD_ITEM_AT_END_FNC", "append", 1, 1},
    {APPLIST_SET_CLICKED_FNC, "APPLIST_SET_CLICKED_FNC", "click", 1, 1},
    {APPLIST_REMOVE_ITEM_FNC, "APPLIST_REMOVE_ITEM_FNC", "remove", 1, 1},
    {APPLIST_MODIFY_ITEM_FNC, "APPLIST_MODIFY_ITEM_FNC", "modify", 2, 2},
};

const Kind* FindKind(std::int32_t id) {
    const auto* const kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                          [&](const Kind& one) { return one.id == id; });
    return kind != std::end(KINDS) ? kind : nullptr;
}

std::string FindProblem(const Kind& kind, const Request& request,
                        const std::vector<char>& payload) {
    if (ItemStream::EndsInsideARecord(payload)) {
        return "its " + std::to_string(payload.size()) +
               " bytes end inside an item record, after " +
               ItemListing::Count(request.items.size());
    }
    if (request.items.size() < kind.leastItems || request.items.size() > kind.mostItems) {
        return "it carries " + ItemListing::Count(request.items.size()) + ", not " +
               std::to_string(kind.leastItems);
    }
    return "";
}

} // namespace

Request ReadRequest(std::vector<char> message) {
    Request request;
    if (!MessageFraming::TakeId(message, request.id)) {
        request.problem = std::to_string(message.size()) + " bytes are too short for an id";
        return request;
    }
    const Kind* const kind = FindKind(request.id);
    if (kind == nullptr) {
        request.problem = "no request has the id " + std::to_string(request.id);
        return request;
    }
    request.name = kind->name;
    request.items = ItemStream::Read(message);
    request.problem = FindProblem(*kind, request, message);
    return request;
}

std::string RequestTitle(std::int32_t id) {
    const Kind* const kind = FindKind(id);
    const std::string number = std::to_string(id);
    return kind != nullptr ? std::string(kind->name) + " (" + number + ")" : number;
}

std::int32_t RequestIdOf(const std::string& word) {
    const auto* const kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                          [&](const Kind& one) { return word == one.word; });
    return kind != std::end(KINDS) ? kind->id : 0;
}

std::string RequestWords() {
    std::string words;
    for (const Kind& kind : KINDS) {
        words += (words.empty() ? "" : "|") + std::string(kind.word);
    }
    return words;
}

std::vector<char> WriteRecord(const ListedItem& item) {
    const std::string record = item.name + "\n" + item.id + "\n";
    return {record.begin(), record.end()};
}
