// A connected list, and a partner with deliberate or accidental errors.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <applist/RemoteAppListModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "CountingListener.h"
#include "MainLoop.h"
#include "PrivateBus.h"
#include "Records.h"
#include "SharedBus.h"
#include "TestPartner.h"

inline namespace applist_test {

constexpr std::size_t MIB = 1024 * 1024;

class HostileTest : public testing::Test {
protected:
    /** The list has one item, "Clock" with the id "clock.01", which is selected. */
    HostileTest();
    ~HostileTest() override;

    /** Starts the partner and waits until this side is connected with it. */
    void Connect();
    void WaitUntilReady(const std::string& partner);
    void WaitUntilLost(const std::string& partner);

    /** Destroys the model, and waits for the release of the bus connection. */
    void ReleaseAll();

    /** Dispatches all messages that the bus has sent so far. */
    void WaitForTheBus();

    /** Waits until all that the partner sent before this has been dealt with. */
    void WaitForAllEvents();

    /** The list, the selection and the connection are as ever. */
    void ExpectAllIsWell();

    /** How many requests of this message id the partner has had. */
    std::size_t CountRequests(int id);

    /** "Send" of this side with any body. Sets @p error. */
    GVariant* CallHost(GDBusConnection* caller, GVariant* body, GError** error);

    PrivateBus bus;
    std::unique_ptr<SharedBus> shared;
    std::string hostName;
    RemoteAppListItem item;
    CountingListener listener;
    std::unique_ptr<RemoteAppListModel> model;
    std::unique_ptr<TestPartner> partner;
};

} // namespace applist_test
