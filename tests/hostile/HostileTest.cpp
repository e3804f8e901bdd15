#include "HostileTest.h"

#include <algorithm>
#include <sstream>

#include "BusDaemon.h"

HostileTest::HostileTest() : shared(std::make_unique<SharedBus>()) {
    shared->DisableExitOnClose();
    hostName = shared->UniqueName();
    std::istringstream("Clock\nclock.01\n") >> item;
    CapturedLog::Clear();
    model = std::make_unique<RemoteAppListModel>();
    model->AddItemChangeListener(&listener);
    model->AddItemSelectionListener(&listener);
    model->AddItemAtEnd(&item);
    model->SetSelection(&item);
}

HostileTest::~HostileTest() {
    ReleaseAll();
}

void HostileTest::ReleaseAll() {
    model.reset();
    partner.reset();
    shared.reset();
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

void HostileTest::Connect() {
    partner = std::make_unique<TestPartner>(bus);
    partner->Announce("_SYN");
    WaitUntilReady(partner->UniqueName());
}

void HostileTest::WaitUntilReady(const std::string& name) {
    const std::string line = "HandleConnectionReady state=1, partner=" + name;
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return CountDebug(line) > 0; }))
        << name << " is not found";
}

void HostileTest::WaitUntilLost(const std::string& name) {
    const std::string line = "Connection lost with partner id=" + name;
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return CountDebug(line) > 0; }))
        << "the loss of " << name << " is not noticed";
}

void HostileTest::WaitForTheBus() {
    BusDaemon::Ping(shared->Connection());
    MainLoop::IterateUntilIdle();
}

void HostileTest::WaitForAllEvents() {
    const unsigned before = listener.changes;
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::CHANGE_EVENT)));
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return listener.changes > before; }));
}

void HostileTest::ExpectAllIsWell() {
    EXPECT_EQ(model->GetAllItems(), std::vector<AppListItem*>{&item});
    EXPECT_EQ(model->GetSelection(), &item);
    const std::size_t before = CountRequests(Records::SET_CLICKED);
    model->SetClicked(&item);
    EXPECT_EQ(CountRequests(Records::SET_CLICKED), before + 1);
    WaitForAllEvents();
}

std::size_t HostileTest::CountRequests(int id) {
    const std::vector<TestPartner::Bytes> requests = partner->Requests();
    return static_cast<std::size_t>(
        std::count_if(requests.begin(), requests.end(), [&](const TestPartner::Bytes& bytes) {
            return bytes.size() >= 4 && Records::IdOf({bytes.begin(), bytes.end()}) == id;
        }));
}

GVariant* HostileTest::CallHost(GDBusConnection* caller, GVariant* body, GError** error) {
    struct Outcome {
        GVariant* reply = nullptr;
        GError* error = nullptr;
        bool done = false;
    } outcome;
    // This side answers on the thread of the test, which therefore iterates while it waits.
    g_dbus_connection_call(
        caller, hostName.c_str(), "/org/morva/javamw/CommunicationChannel/Applist",
        "org.morva.javamw.DbusCommunication", "Send", body, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr,
        [](GObject* connection, GAsyncResult* result, void* data) {
            auto* const to = static_cast<Outcome*>(data);
            to->reply = g_dbus_connection_call_finish(
                reinterpret_cast<GDBusConnection*>(connection), result, &to->error);
            to->done = true;
        },
        &outcome);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return outcome.done; }));
    g_propagate_error(error, outcome.error);
    return outcome.reply;
}
