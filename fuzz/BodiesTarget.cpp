// Bodies of any type into the callbacks for a partner's signals and method calls. The answers are
// caught at GDBus's door.
#include "Body.h"
#include "FuzzBus.h"
#include "Target.h"

namespace {

constexpr const char* INTERFACE = "org.morva.javamw.DbusCommunication";

Body g_answer;
int g_errors = 0;

// The bytes of a body that is a byte array alone, read element by element.
bool ReadBytes(const Body& body, std::vector<char>& bytes) {
    if (TypeOf(body) != "(ay)") {
        return false;
    }
    g_autoptr(GVariant) array = g_variant_get_child_value(body.get(), 0);
    GVariantIter iterator;
    g_variant_iter_init(&iterator, array);
    guchar byte = 0;
    while (g_variant_iter_next(&iterator, "y", &byte) != FALSE) {
        bytes.push_back(static_cast<char>(byte));
    }
    return true;
}

// Only its address counts: the answering functions are caught.
GDBusMethodInvocation* Invocation() {
    static char somewhere;
    return reinterpret_cast<GDBusMethodInvocation*>(&somewhere);
}

class Bodies {
public:
    void Call(const std::string& path, const Body& body) {
        m_endpoint.Forget();
        g_answer.reset();
        g_errors = 0;
        JavaMWDbusRemote::cb_MethodCall(m_bus.shared.Connection(), ":2.Partner", path.c_str(),
                                        INTERFACE, "Send", body.get(), Invocation(), &m_endpoint);
        std::vector<char> bytes;
        if (path != FuzzEndpoint::OBJECT_PATH) {
            FUZZ_EXPECT(m_endpoint.messages.empty() && g_answer == nullptr && g_errors == 0);
        } else if (!ReadBytes(body, bytes)) {
            FUZZ_EXPECT(m_endpoint.messages.empty());
            ExpectAnswer({});
        } else {
            FUZZ_EXPECT(m_endpoint.messages.size() == 1 && m_endpoint.messages[0] == bytes);
            if (!bytes.empty() && bytes[0] == FuzzEndpoint::THROWS) {
                FUZZ_EXPECT(g_answer == nullptr && g_errors == 1);
            } else {
                ExpectAnswer({bytes.rbegin(), bytes.rend()});
            }
        }
    }

    void Signal(const std::string& path, const std::string& member, const Body& body) {
        m_endpoint.Forget();
        JavaMWDbusRemote::cb_SignalCall(m_bus.shared.Connection(), ":2.Partner", path.c_str(),
                                        INTERFACE, member.c_str(), body.get(), &m_endpoint);
        std::vector<char> bytes;
        if (path == FuzzEndpoint::OBJECT_PATH && ReadBytes(body, bytes)) {
            FUZZ_EXPECT(m_endpoint.notifications.size() == 1 &&
                        m_endpoint.notifications[0] == bytes);
        } else {
            FUZZ_EXPECT(m_endpoint.notifications.empty());
        }
    }

private:
    static void ExpectAnswer(const std::vector<char>& expected) {
        std::vector<char> bytes;
        FUZZ_EXPECT(g_errors == 0 && g_answer != nullptr && ReadBytes(g_answer, bytes));
        FUZZ_EXPECT(bytes == expected);
    }

    FuzzBus m_bus;
    FuzzEndpoint m_endpoint;
};

Bodies& TheBodies() {
    static auto* const bodies = new Bodies();
    return *bodies;
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" void __wrap_g_dbus_method_invocation_return_value(GDBusMethodInvocation* invocation,
                                                             GVariant* answer) {
    FUZZ_EXPECT(invocation == Invocation() && g_answer == nullptr);
    g_answer.reset(g_variant_ref_sink(answer));
}

extern "C" void __wrap_g_dbus_method_invocation_return_dbus_error(GDBusMethodInvocation* invocation,
                                                                  const char* name,
                                                                  const char* /*message*/) {
    FUZZ_EXPECT(invocation == Invocation() && g_dbus_is_interface_name(name) != FALSE);
    ++g_errors;
}
// NOLINTEND(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    TheBodies();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    while (choices.AreLeft()) {
        const std::uint8_t kind = choices.Byte();
        const std::string path = kind < 16 ? choices.Text() : FuzzEndpoint::OBJECT_PATH;
        const Body body = ReadBody(choices);
        if (kind % 2 == 0) {
            TheBodies().Call(path.c_str(), body);
        } else {
            TheBodies().Signal(path.c_str(), kind % 4 == 1 ? "SendSignal" : choices.Text().c_str(),
                               body);
        }
    }
    return 0;
}
