#include <shared/Request.h>

#include <ipc/MessageFraming.h>
#include <shared/Counted.h>
#include <shared/ItemStream.h>
#include <shared/Protocol.h>

namespace applistctl {

namespace {

std::string CountWanted(const RequestKind& kind) {
    const bool atLeast = kind.maxRecords != kind.minRecords;
    return (atLeast ? "at least " : "") + std::to_string(kind.minRecords);
}

std::string FindProblem(const RequestKind& kind, const Request& request,
                        const std::vector<char>& payload) {
    if (ItemStream::EndsInsideARecord(payload)) {
        return "its " + std::to_string(payload.size()) +
               " bytes end inside an item record, after " +
               ItemListing::Count(request.items.size());
    }
    if (request.items.size() < kind.minRecords || request.items.size() > kind.maxRecords) {
        return "it carries " + ItemListing::Count(request.items.size()) + ", not " +
               CountWanted(kind);
    }
    return "";
}

} // namespace

Request ReadRequest(std::vector<char> message) {
    Request request;
    if (!MessageFraming::RemoveId(message, request.id)) {
        request.problem = TooShortForAnId(message.size());
        return request;
    }
    const RequestKind* const kind = Protocol::FindRequest(request.id);
    if (kind == nullptr) {
        request.problem = "no request has the id " + std::to_string(request.id);
        return request;
    }
    request.name = kind->name;
    request.items = ItemStream::Read(message);
    request.problem = FindProblem(*kind, request, message);
    return request;
}

std::vector<char> WriteRecord(const ListedItem& item) {
    const std::string record = item.name + "\n" + item.id + "\n";
    return {record.begin(), record.end()};
}

} // namespace applistctl
