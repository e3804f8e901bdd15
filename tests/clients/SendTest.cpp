// "Send" called by clients: the bytes that arrive and the reply that they print, byte for byte.
#include <string>
#include <vector>

#include "ChannelTest.h"
#include "Client.h"
#include "NamedRow.h"

namespace {

using Words = std::vector<std::string>;

constexpr const char* METHOD = "org.morva.javamw.DbusCommunication.Send";

Words Gdbus(const std::string& bus, const std::string& endpoint, const std::string& argument) {
    return {"gdbus", "call", "--address", bus,    "--dest", endpoint,
            "-o",    PATH,   "--method",  METHOD, argument};
}

Words Busctl(const std::string& bus, const std::string& endpoint, const Words& arguments) {
    Words words = {"busctl", "--address=" + bus, "call", endpoint, PATH, INTERFACE, "Send"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

Words DbusSend(const std::string& bus, const std::string& endpoint, const std::string& argument) {
    return {"dbus-send", "--bus=" + bus, "--dest=" + endpoint, "--print-reply=literal", PATH,
            METHOD,      argument};
}

struct Call : NamedRow {
    Words (*words)(const std::string& bus, const std::string& endpoint);
    std::vector<char> request;
    std::vector<char> reply;
    const char* printed;
};

const std::vector<char> REQUEST = ByteVector({0x41, 0x00, 0x0a, 0xff, 0xd1, 0x07, 0x00, 0x00});
const std::vector<char> REPLY = ByteVector({0x00, 0x61, 0xff});

const Call CALLS[] = {
    {{"Gdbus"},
     [](const std::string& bus, const std::string& endpoint) {
         return Gdbus(bus, endpoint, "[0x41, 0x00, 0x0a, 0xff, 0xd1, 0x07, 0x00, 0x00]");
     },
     REQUEST,
     REPLY,
     "([byte 0x00, 0x61, 0xff],)\n"},
    {{"GdbusWithNothing"},
     [](const std::string& bus, const std::string& endpoint) { return Gdbus(bus, endpoint, "[]"); },
     {},
     {},
     "(@ay [],)\n"},
    {{"Busctl"},
     [](const std::string& bus, const std::string& endpoint) {
         return Busctl(bus, endpoint, {"ay", "8", "65", "0", "10", "255", "209", "7", "0", "0"});
     },
     REQUEST,
     REPLY,
     "ay 3 0 97 255\n"},
    {{"BusctlWithNothing"},
     [](const std::string& bus, const std::string& endpoint) {
         return Busctl(bus, endpoint, {"ay", "0"});
     },
     {},
     {},
     "ay 0\n"},
    {{"DbusSend"},
     [](const std::string& bus, const std::string& endpoint) {
         return DbusSend(bus, endpoint, "array:byte:0x41,0x00,0x0a,0xff,0xd1,0x07,0x00,0x00");
     },
     REQUEST,
     REPLY,
     "   array of bytes [\n      00 61 ff\n   ]\n"},
};

class Send : public HeldBusTest, public testing::WithParamInterface<Call> {};

TEST_P(Send, CarriesTheBytesBothWays) {
    RecordingEndpoint endpoint({[](std::vector<char>&) { return GetParam().reply; }, {}, {}});
    const Words words = GetParam().words(bus.Address(), OwnName());
    APPLIST_NEEDS_CLIENT(words[0]);
    const ClientResult result = RunClient(words);
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    EXPECT_EQ(result.output, GetParam().printed);
    EXPECT_THAT(endpoint.Messages(), testing::ElementsAre(GetParam().request));
}

INSTANTIATE_TEST_SUITE_P(Clients, Send, testing::ValuesIn(CALLS), RowName<Call>);

class WrongSend : public HeldBusTest {
protected:
    static constexpr const char* WRONG_TYPE =
        "Type of message, “(s)”, does not match expected type “(ay)”";

    // The client's text for the refusal; the endpoint must not receive the call.
    ClientResult RefusalBy(const Words& words) {
        const ClientResult result = RunClient(words);
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(endpoint->Messages().empty());
        return result;
    }

    void TearDown() override {
        endpoint.reset();
        HeldBusTest::TearDown();
    }

    std::unique_ptr<RecordingEndpoint> endpoint = std::make_unique<RecordingEndpoint>();
};

TEST_F(WrongSend, OfAStringByBusctlIsRefused) {
    APPLIST_NEEDS_CLIENT("busctl");
    // Older versions colour the line in a pipe, too.
    EXPECT_THAT(RefusalBy(Busctl(bus.Address(), OwnName(), {"s", "text"})).errors,
                testing::HasSubstr(std::string("Call failed: ") + WRONG_TYPE));
}

TEST_F(WrongSend, OfAStringByDbusSendIsRefused) {
    APPLIST_NEEDS_CLIENT("dbus-send");
    EXPECT_EQ(RefusalBy(DbusSend(bus.Address(), OwnName(), "string:text")).errors,
              std::string("Error org.freedesktop.DBus.Error.InvalidArgs: ") + WRONG_TYPE + "\n");
}

TEST_F(WrongSend, OfAnotherMethodByGdbusIsRefused) {
    APPLIST_NEEDS_CLIENT("gdbus");
    Words words = Gdbus(bus.Address(), OwnName(), "[byte 0x01]");
    words[words.size() - 2] = "org.morva.javamw.DbusCommunication.Sent";
    EXPECT_EQ(RefusalBy(words).errors,
              "Error: GDBus.Error:org.freedesktop.DBus.Error.UnknownMethod: No such method "
              "“Sent”\n");
}

} // namespace
