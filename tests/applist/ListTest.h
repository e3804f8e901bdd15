// The fixtures of the list's tests: a model on a bus of its own, alone or with a partner.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <applist/RemoteAppListModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "ListBytes.h"
#include "PrivateBus.h"
#include "TestPartner.h"

inline namespace applist_test {

/** Has @p partner announce itself. @return whether the model's channel became ready for it. */
bool ConnectPartner(TestPartner& partner);

/** A model without a partner. */
class ListTest : public testing::Test {
protected:
    ListTest();
    ~ListTest() override;

    /** Destroys the model, and waits until the bus connection has handled its queued messages. */
    void DestroyModel();

    /** The ids of the list's items, in order. */
    std::vector<std::string> Ids();

    PrivateBus bus;
    std::unique_ptr<RemoteAppListModel> model;
};

/** A model whose partner is connected; the log starts empty. */
class ConnectedListTest : public ListTest {
protected:
    ConnectedListTest();
    ~ConnectedListTest() override;

    /** Emits the notification @p bytes, and iterates until the model has handled it. */
    void Notify(const std::string& bytes);

    /** Sets the reply of the partner to the selection query; other replies are empty. */
    void PartnerSelects(const std::string& reply);

    /** The requests that the partner has received so far. */
    std::vector<std::string> Requests();

    std::unique_ptr<TestPartner> partner;
    std::string hostName;
};

/** The log as tests compare it: "PRIORITY FILE FUNCTION > MESSAGE". */
namespace LogLines {
std::vector<std::string> All();
std::string Model(const std::string& function, const std::string& message);
std::string Adapter(const std::string& function, const std::string& message);
std::string Channel(const std::string& function, const std::string& message);

/** The lines of a request with @p payloadSize bytes of payload, and an empty reply. */
std::vector<std::string> Sent(std::size_t payloadSize);

std::vector<std::string> Concat(std::vector<std::string> first,
                                const std::vector<std::string>& second);

/** A pointer as the log shows it. */
std::string Pointer(const void* pointer);
} // namespace LogLines

} // namespace applist_test
