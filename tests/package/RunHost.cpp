// run-host PROGRAM: runs the example host on a private bus, in the role of its partner. Exits with
// 0 after the whole list and the selection have arrived and the host has printed the partner's
// selection.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <unistd.h>

#include "Bytes.h"
#include "PrivateBus.h"
#include "Process.h"
#include "TestPartner.h"

using namespace std::string_literals;

namespace {

constexpr unsigned PATIENCE_S = 60;

void Expect(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error("not so: " + what);
    }
}

/** Sent to every connection, because the example does not print its unique name. */
void Notify(TestPartner& partner, char id) {
    g_dbus_connection_emit_signal(partner.Connection(), nullptr,
                                  "/org/morva/javamw/CommunicationChannel/Applist",
                                  "org.morva.javamw.DbusCommunication", "SendSignal",
                                  ByteBody(ByteVector({id, 0, 0, 0})), nullptr);
}

void Run(const char* program) {
    const PrivateBus bus;
    TestPartner partner(bus);
    partner.AnswerWith([](const TestPartner::Bytes& request) {
        return request == ByteVector("\xD1\x07\0\0"s) ? ByteVector("any\nmusic.02\n"s)
                                                      : TestPartner::Bytes();
    });
    Process host({program});
    Expect(partner.WaitForAnnouncement("_CLIENT_ACK"), "the host is ready");

    Notify(partner, 4);
    Expect(partner.WaitForRequests(2), "the created list is filled");
    const std::vector<TestPartner::Bytes> requests = partner.Requests();
    Expect(requests[0] == ByteVector("Clock\nclock.01\nMusic Player\nmusic.02\n\xD4\x07\0\0"s),
           "the list came over");
    Expect(requests[1] == ByteVector("Clock\nclock.01\n\xD0\x07\0\0"s), "the selection came over");

    Notify(partner, 2);
    Expect(host.WaitFor("selected: Music Player\n"), "the host printed the selection");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: run-host PROGRAM\n");
        return 2;
    }
    alarm(PATIENCE_S);
    try {
        Run(argv[1]);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "run-host: %s\n", exception.what());
        return 1;
    }
    std::printf("run-host: list, selection and event came through\n");
    return 0;
}
