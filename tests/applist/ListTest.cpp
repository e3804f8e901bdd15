#include "ListTest.h"

#include <cstdio>

#include "MainLoop.h"
#include "SharedBus.h"

bool applist_test::ConnectPartner(TestPartner& partner) {
    partner.Announce("_SYN");
    const std::string ready = "HandleConnectionReady state=1, partner=" + partner.UniqueName();
    return MainLoop::IterateUntil([&] { return CountDebug(ready) == 1; });
}

ListTest::ListTest() {
    // Another test's lines name the same bus names.
    CapturedLog::Clear();
    model = std::make_unique<RemoteAppListModel>();
    MainLoop::IterateUntilIdle();
}

ListTest::~ListTest() {
    DestroyModel();
}

void ListTest::DestroyModel() {
    if (model == nullptr) {
        return;
    }
    model.reset();
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

std::vector<std::string> ListTest::Ids() {
    std::vector<std::string> ids;
    for (AppListItem* const item : model->GetAllItems()) {
        ids.push_back(item->GetUnigueId());
    }
    return ids;
}

ConnectedListTest::ConnectedListTest() : partner(std::make_unique<TestPartner>(bus)) {
    hostName = SharedBus::CurrentUniqueName();
    EXPECT_TRUE(ConnectPartner(*partner));
    CapturedLog::Clear();
}

ConnectedListTest::~ConnectedListTest() {
    // Before the end of the partner, because the model would receive the loss.
    DestroyModel();
}

void ConnectedListTest::Notify(const std::string& bytes) {
    const auto handled = [] { return CountDebug("IPC HandleNotification"); };
    const std::size_t before = handled();
    partner->Notify(hostName, ByteVector(bytes));
    // The line is the first of a delivery, which is over when the iteration returns.
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return handled() == before + 1; }));
}

void ConnectedListTest::PartnerSelects(const std::string& reply) {
    partner->AnswerWith([reply](const TestPartner::Bytes& request) {
        return ListBytes::String(request) == ListBytes::GET_SELECTION ? ByteVector(reply)
                                                                      : TestPartner::Bytes();
    });
}

std::vector<std::string> ConnectedListTest::Requests() {
    std::vector<std::string> requests;
    for (const TestPartner::Bytes& request : partner->Requests()) {
        requests.push_back(ListBytes::String(request));
    }
    return requests;
}

namespace {

std::string Line(int priority, const std::string& file, const std::string& function,
                 const std::string& message) {
    return std::to_string(priority) + " " + file + " " + function + " > " + message;
}

} // namespace

std::vector<std::string> LogLines::All() {
    std::vector<std::string> lines;
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        lines.push_back(Line(line.priority, line.file, line.function, line.message));
    }
    return lines;
}

std::string LogLines::Model(const std::string& function, const std::string& message) {
    return Line(3, "RemoteAppListModel.cpp", function, message);
}

std::string LogLines::Adapter(const std::string& function, const std::string& message) {
    return Line(3, "IPCApplist.h", function, message);
}

std::string LogLines::Channel(const std::string& function, const std::string& message) {
    return Line(3, "javamw-dbus-remote.cpp", function, message);
}

std::vector<std::string> LogLines::Sent(std::size_t payloadSize) {
    return {Model("SendMessageToRemote",
                  "SendMessageToRemote data length: " + std::to_string(payloadSize)),
            Channel("SendMessage",
                    "Sending sync message with " + std::to_string(payloadSize + 4) + " bytes"),
            Channel("SendMessage", "Reply with 0 bytes")};
}

std::vector<std::string> LogLines::Concat(std::vector<std::string> first,
                                          const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string LogLines::Pointer(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", pointer);
    return text;
}
