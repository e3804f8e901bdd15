// The common parts of the tests on the bus double: the host, the errors in the log, and the state
// of an endpoint as seen from outside.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "BusDaemon.h"
#include "CapturedLog.h"
#include "Channel.h"
#include "RecordingEndpoint.h"

#include "DoubleHost.h"
#include "LibraryCalls.h"

inline namespace applist_test {

using Strings = std::vector<std::string>;

/** The messages of the log at error priority, in order. */
inline Strings Errors() {
    Strings errors;
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        if (line.priority == CapturedLog::ERROR) {
            errors.push_back(line.message);
        }
    }
    return errors;
}

/** Compares texts; an expected text that ends in '*' is a prefix. */
inline void ExpectTexts(const Strings& texts, const Strings& expected) {
    ASSERT_EQ(texts.size(), expected.size()) << testing::PrintToString(texts);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string& pattern = expected[i];
        if (!pattern.empty() && pattern.back() == '*') {
            const std::size_t length = pattern.size() - 1;
            EXPECT_EQ(texts[i].substr(0, length), pattern.substr(0, length)) << texts[i];
        } else {
            EXPECT_EQ(texts[i], pattern);
        }
    }
}

class FaultTest : public testing::Test {
protected:
    FaultTest() {
        m_host.emplace();
        CapturedLog::Clear();
    }
    ~FaultTest() override {
        m_endpoint.reset();
        LibraryCalls::RefuseThreads(false);
        LibraryCalls::RefusePartnerSubscriptions(false);
        LibraryCalls::LoseReplies(false);
    }

    DoubleHost& Host() { return *m_host; }
    BusDouble& Bus() { return m_host->Bus(); }
    RecordingEndpoint& Endpoint() { return *m_endpoint; }
    void MakeEndpoint(RecordingEndpoint::Actions actions = {}) {
        m_endpoint.emplace(std::move(actions));
    }
    void DestroyEndpoint() { m_endpoint.reset(); }

    /** Binds @p partner, which has just started, and completes the handshake. */
    void ConnectTo(const std::string& partner) {
        ASSERT_TRUE(Host().Announce("_SYN", partner));
        ASSERT_TRUE(Host().Announce("_ACK", partner));
        ASSERT_TRUE(Endpoint().IsConnectionReady());
    }

    /**
     * @return whether a partner is bound: only then does an acknowledgement of any process have an
     * effect. The endpoint is ready afterwards.
     */
    bool IsBound() {
        EXPECT_TRUE(Host().Announce("_ACK", ":2.Probe"));
        return Endpoint().IsConnectionReady();
    }

    /** The number of release calls for @p name, also of calls that do not wait for the reply. */
    std::size_t CountReleases(const std::string& name) {
        // After the reply to this call the bus has received all earlier calls.
        BusDaemon::Call(Host().Connection(), "GetNameOwner", g_variant_new("(s)", PARTNER));
        return Bus().CountCalls("ReleaseName " + name);
    }

    static constexpr const char* PARTNER = ":2.Partner";

private:
    std::optional<DoubleHost> m_host;
    std::optional<RecordingEndpoint> m_endpoint;
};

} // namespace applist_test
