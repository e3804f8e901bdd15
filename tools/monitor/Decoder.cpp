#include <monitor/Decoder.h>

#include <algorithm>
#include <vector>

#include <ipc/ByteArray.h>
#include <ipc/MessageFraming.h>
#include <shared/Counted.h>
#include <shared/ItemStream.h>
#include <shared/Protocol.h>
#include <shared/Request.h>

namespace applistctl {

namespace {

// @return false for incomplete bytes; @p problem or @p cut then has the reason
bool ReadBytes(GVariant* body, std::size_t cutBytes, std::vector<char>& bytes, std::string& problem,
               std::string& cut) {
    if (!ByteArray::FromVariant(body, bytes)) {
        const std::string type = body != nullptr ? g_variant_get_type_string(body) : "";
        problem = body != nullptr ? "its type is " + type + ", not (ay)" : "it has no body";
        return false;
    }
    if (cutBytes > 0) {
        cut = "the capture lacks its last " + std::to_string(cutBytes) + " of " +
              Counted(bytes.size(), "byte");
        return false;
    }
    return true;
}

// Reads the id after the payload, for both kinds of messages.
bool ReadFrame(GVariant* body, std::size_t cutBytes, std::vector<char>& bytes, Content& content) {
    const bool complete = ReadBytes(body, cutBytes, bytes, content.problem, content.cut);
    content.size = bytes.size();
    if (!complete) {
        return false;
    }
    content.hasId = MessageFraming::RemoveId(bytes, content.id);
    if (!content.hasId) {
        content.problem = TooShortForAnId(bytes.size());
    }
    return content.hasId;
}

} // namespace

namespace Decoder {

Content ReadMessage(GVariant* body, std::size_t cutBytes, Side from) {
    Content content;
    std::vector<char> bytes;
    if (!ReadFrame(body, cutBytes, bytes, content)) {
        if (from != Side::Host && from != Side::Partner && content.size == 0 &&
            ByteArray::FromVariant(body, bytes)) {
            content.problem.clear(); // a check of the receiver's main context
        }
        return content;
    }
    if (from == Side::Partner) {
        return content; // no request: the list's requests go the other way
    }
    MessageFraming::AppendId(bytes, content.id);
    const Request request = ReadRequest(std::move(bytes));
    content.name = request.name;
    content.items = request.items;
    content.problem = request.problem;
    return content;
}

Content ReadNotification(GVariant* body, std::size_t cutBytes, Side from) {
    Content content;
    std::vector<char> bytes;
    if (!ReadFrame(body, cutBytes, bytes, content) || from == Side::Host) {
        return content;
    }
    if (const NotificationKind* const kind = Protocol::FindNotification(content.id)) {
        content.name = kind->name;
    } else {
        content.problem = "no notification has the id " + std::to_string(content.id);
    }
    return content;
}

void ReadReply(GVariant* body, std::size_t cutBytes, const Content& content, ReplySeen& reply) {
    std::vector<char> bytes;
    const bool complete = ReadBytes(body, cutBytes, bytes, reply.problem, reply.cut);
    reply.size = bytes.size();
    if (complete && content.id == APPLIST_GET_SELECTION_FNC && !content.name.empty()) {
        reply.items = ItemStream::Read(bytes);
        if (ItemStream::EndsInsideARecord(bytes)) {
            reply.problem = "its " + std::to_string(bytes.size()) +
                            " bytes end inside an item record, after " +
                            ItemListing::Count(reply.items.size());
        }
    }
}

std::string Title(const Content& content) {
    if (!content.name.empty()) {
        return content.name + " (" + std::to_string(content.id) + ")";
    }
    if (!content.cut.empty()) {
        return "cut by the capture";
    }
    return content.hasId ? "id " + std::to_string(content.id) : "no id";
}

} // namespace Decoder

} // namespace applistctl
