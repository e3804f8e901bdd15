// The introspection of the communication object by several clients, byte for byte. A table, whose
// columns are of different widths in different versions of busctl, is compared word for word.
#include <algorithm>
#include <string>
#include <vector>

#include "ChannelTest.h"
#include "Client.h"
#include "NamedRow.h"

namespace {

struct Client : NamedRow {
    std::vector<std::string> (*words)(const std::string& bus, const std::string& endpoint);
    /** The whole output about the interface, and its first text. */
    const char* start;
    const char* text;
    const char* end;
    bool isTable = false;
};

constexpr const char* XML_START = "  <interface name=\"org.morva";
constexpr const char* XML = R"(  <interface name="org.morva.javamw.DbusCommunication">
    <method name="Send">
      <arg type="ay" name="data" direction="in">
      </arg>
      <arg type="ay" name="response" direction="out">
      </arg>
    </method>
  </interface>
</node>
)";

const Client CLIENTS[] = {
    {{"GdbusAsText"},
     [](const std::string& bus, const std::string& endpoint) -> std::vector<std::string> {
         return {"gdbus", "introspect", "--address", bus, "--dest", endpoint, "-o", PATH};
     },
     "  interface org.morva",
     R"(  interface org.morva.javamw.DbusCommunication {
    methods:
      Send(in  ay data,
           out ay response);
    signals:
    properties:
  };
};
)",
     ""},
    {{"GdbusAsXml"},
     [](const std::string& bus, const std::string& endpoint) -> std::vector<std::string> {
         return {"gdbus", "introspect", "--address", bus, "--dest", endpoint, "-o", PATH, "--xml"};
     },
     XML_START,
     XML,
     ""},
    {{"BusctlAsTable"},
     [](const std::string& bus, const std::string& endpoint) -> std::vector<std::string> {
         return {"busctl", "--address=" + bus, "--no-legend", "introspect", endpoint,
                 PATH,     INTERFACE};
     },
     ".",
     ".Send method ay ay -\n",
     "",
     true},
    {{"BusctlAsXml"},
     [](const std::string& bus, const std::string& endpoint) -> std::vector<std::string> {
         return {"busctl", "--address=" + bus, "introspect", "--xml-interface", endpoint, PATH};
     },
     XML_START,
     XML,
     "\n"},
    {{"DbusSend"},
     [](const std::string& bus, const std::string& endpoint) -> std::vector<std::string> {
         return {"dbus-send",
                 "--bus=" + bus,
                 "--dest=" + endpoint,
                 "--print-reply=literal",
                 PATH,
                 "org.freedesktop.DBus.Introspectable.Introspect"};
     },
     XML_START,
     XML,
     ""},
};

/** The document as GDBus reads it, without comments. */
std::string Described(const char* xml) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(xml, &error);
    if (node == nullptr) {
        return error->message;
    }
    GString* const text = g_string_new(nullptr);
    g_dbus_node_info_generate_xml(node, 0, text);
    g_autofree char* described = g_string_free(text, FALSE);
    return described;
}

/** With one blank in the place of several. */
std::string Squeezed(std::string text) {
    const auto isSecondBlank = [](char first, char second) {
        return first == ' ' && second == ' ';
    };
    text.erase(std::unique(text.begin(), text.end(), isSecondBlank), text.end());
    return text;
}

class Introspection : public HeldBusTest, public testing::WithParamInterface<Client> {};

TEST_P(Introspection, ShowsOneMethodAndNoSignal) {
    const RecordingEndpoint endpoint;
    const std::vector<std::string> words = GetParam().words(bus.Address(), OwnName());
    APPLIST_NEEDS_CLIENT(words[0]);
    const ClientResult result = RunClient(words);
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    const std::size_t start = result.output.find(GetParam().start);
    ASSERT_NE(start, std::string::npos) << result.output;
    const std::string shown = result.output.substr(start);
    EXPECT_EQ(GetParam().isTable ? Squeezed(shown) : shown,
              GetParam().text + std::string(GetParam().end));
    EXPECT_EQ(result.output.find("SendSignal"), std::string::npos);
}

TEST(IntrospectionFile, DescribesTheInterfaceThatTheLibraryRegisters) {
    g_autofree char* installed = nullptr;
    ASSERT_TRUE(
        g_file_get_contents(APPLIST_TESTS_INTROSPECTION_FILE, &installed, nullptr, nullptr));
    EXPECT_EQ(Described(installed), Described(JavaMWDbusRemote::INTERFACE_XML));
}

INSTANTIATE_TEST_SUITE_P(Clients, Introspection, testing::ValuesIn(CLIENTS), RowName<Client>);

} // namespace
