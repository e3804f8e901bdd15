// Messages and notifications that the adapter cannot forward.
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "NamedRow.h"

#include <ipc/IPCApplist.h>

namespace {

using Bytes = std::vector<char>;
using Strings = std::vector<std::string>;

// A channel without a bus: the test covers the adapter alone.
class NoChannel {
public:
    virtual ~NoChannel() = default;
    virtual Bytes HandleMessage(Bytes& data) = 0;
    virtual void HandleNotification(Bytes& data) = 0;
    virtual void HandleConnectionReady(bool ready, const std::string& partner) = 0;

protected:
    struct HandlersLater {};
    NoChannel(const std::string& /*id*/, HandlersLater /*later*/) {}
    void StartHandlers() {}
    void StopHandlers() {}
};

struct Model {
    std::vector<std::pair<int, Bytes>> received;
    Strings partners;

    Bytes OnMessage(int id, Bytes& data) {
        received.emplace_back(id, data);
        return ByteVector("answer");
    }
    void OnNotification(int id, const Bytes& data) { received.emplace_back(id, data); }
    void OnReady(const std::string& partner) { partners.push_back(partner); }
};

struct FailingAdapter : NamedRow {
    Bytes data;
    bool bound;
    Bytes left;        // the remaining data of the caller
    Strings delivered; // the id, if it reaches the model
    int priority;      // of the log line otherwise
    std::string line;  // "%s" is replaced by Message or Notification
};

const char* const CORRUPT = "Data corrupted. Does not contain message id.";
const char* const UNBOUND = "callback%sObject object is NULL";

const FailingAdapter ADAPTER_FAULTS[] = {
    {"Empty", {}, true, {}, {}, CapturedLog::ERROR, CORRUPT},
    {"OneByte", ByteVector({1}), true, ByteVector({1}), {}, CapturedLog::ERROR, CORRUPT},
    {"TwoBytes", ByteVector({1, 2}), true, ByteVector({1, 2}), {}, CapturedLog::ERROR, CORRUPT},
    {"ThreeBytes",
     ByteVector({2, 0, 0}),
     true,
     ByteVector({2, 0, 0}),
     {},
     CapturedLog::ERROR,
     CORRUPT},
    {"ThreeBytesUnbound",
     ByteVector({2, 0, 0}),
     false,
     ByteVector({2, 0, 0}),
     {},
     CapturedLog::ERROR,
     CORRUPT},
    {"FourBytesUnbound", ByteVector({2, 0, 0, 0}), false, {}, {}, CapturedLog::INFO, UNBOUND},
    {"PayloadUnbound",
     ByteVector({97, 98, 2, 0, 0, 0}),
     false,
     ByteVector({97, 98}),
     {},
     CapturedLog::INFO,
     UNBOUND},
    {"FourBytes", ByteVector({2, 0, 0, 0}), true, {}, {"2"}, 0, ""},
    {"UnknownNegativeId", ByteVector({255, 255, 255, 255}), true, {}, {"-1"}, 0, ""},
    {"UnknownLargestId", ByteVector({255, 255, 255, 127}), true, {}, {"2147483647"}, 0, ""},
    {"UnknownSmallestId", ByteVector({0, 0, 0, 128}), true, {}, {"-2147483648"}, 0, ""},
    {"Payload", ByteVector({97, 98, 2, 0, 0, 0}), true, ByteVector({97, 98}), {"2"}, 0, ""},
};

class AdapterFault : public testing::TestWithParam<FailingAdapter> {
protected:
    AdapterFault() : m_adapter("Applist") {
        if (GetParam().bound) {
            m_adapter.RegisterOnMessage(&m_model, &Model::OnMessage);
            m_adapter.RegisterOnNotification(&m_model, &Model::OnNotification);
        }
        CapturedLog::Clear();
    }

    void ExpectOutcome(const Bytes& left, const std::string& kind) {
        EXPECT_EQ(left, GetParam().left);
        Strings ids;
        for (const auto& [id, payload] : m_model.received) {
            ids.push_back(std::to_string(id));
            EXPECT_EQ(payload, GetParam().left);
        }
        EXPECT_EQ(ids, GetParam().delivered);
        const std::size_t lines = GetParam().line.empty() ? 1 : 2;
        EXPECT_EQ(CapturedLog::Lines().size(), lines);
        EXPECT_EQ(CountDebug("IPC Handle" + kind), 1U);
        if (lines == 2) {
            std::string line = GetParam().line;
            const auto at = line.find("%s");
            line = at == std::string::npos ? line : line.replace(at, 2, kind);
            EXPECT_EQ(CapturedLog::Count(GetParam().priority, line), 1U);
        }
    }

    Model m_model;
    IPCApplist<NoChannel, Model> m_adapter;
};

TEST_P(AdapterFault, InANotificationIsLoggedAndNotForwarded) {
    Bytes data = GetParam().data;
    m_adapter.HandleNotification(data);
    ExpectOutcome(data, "Notification");
}

TEST_P(AdapterFault, InAMessageIsLoggedAndAnsweredWithNoBytes) {
    Bytes data = GetParam().data;
    const Bytes answer = m_adapter.HandleMessage(data);
    EXPECT_EQ(answer, GetParam().delivered.empty() ? Bytes{} : ByteVector("answer"));
    ExpectOutcome(data, "Message");
}

INSTANTIATE_TEST_SUITE_P(Adapter, AdapterFault, testing::ValuesIn(ADAPTER_FAULTS),
                         RowName<FailingAdapter>);

class AdapterReadiness : public testing::Test {
protected:
    AdapterReadiness() : m_adapter("Applist") { CapturedLog::Clear(); }

    Model m_model;
    IPCApplist<NoChannel, Model> m_adapter;
};

TEST_F(AdapterReadiness, OfALossIsNotForwarded) {
    m_adapter.RegisterOnConnectionReady(&m_model, &Model::OnReady);
    m_adapter.HandleConnectionReady(false, ":2.P");
    EXPECT_EQ(CapturedLog::Messages(),
              Strings{"DEBUG HandleConnectionReady state=0, partner=:2.P"});
    EXPECT_EQ(m_model.partners, Strings{});
}

TEST_F(AdapterReadiness, WithoutABindingIsLoggedOnly) {
    m_adapter.HandleConnectionReady(true, ":2.P");
    EXPECT_EQ(CapturedLog::Messages(),
              Strings{"DEBUG HandleConnectionReady state=1, partner=:2.P"});
}

TEST_F(AdapterReadiness, WithABindingIsForwarded) {
    m_adapter.RegisterOnConnectionReady(&m_model, &Model::OnReady);
    m_adapter.HandleConnectionReady(true, ":2.P");
    EXPECT_EQ(CapturedLog::Messages(), (Strings{"DEBUG HandleConnectionReady state=1, partner=:2.P",
                                                "DEBUG Calling connection ready callback"}));
    EXPECT_EQ(m_model.partners, Strings{":2.P"});
}

} // namespace
