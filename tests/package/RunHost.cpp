// run-host PROGRAM: runs the example host on a private bus and plays its partner. Ends with 0 when
// the whole list and the selection came over and the host printed what the partner selected.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "Bytes.h"
#include "PrivateBus.h"
#include "TestPartner.h"

using namespace std::string_literals;

namespace {

constexpr unsigned PATIENCE_S = 60;

void Expect(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error("not so: " + what);
    }
}

GSubprocess* Start(const char* program) {
    g_autoptr(GSubprocessLauncher) launcher =
        g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE);
    g_subprocess_launcher_set_child_setup(
        launcher, [](void* /*data*/) { prctl(PR_SET_PDEATHSIG, SIGKILL); }, nullptr, nullptr);
    g_autoptr(GError) error = nullptr;
    GSubprocess* const host = g_subprocess_launcher_spawn(launcher, &error, program, nullptr);
    Expect(host != nullptr, error != nullptr ? error->message : "the host starts");
    return host;
}

/** To everybody, since the example does not tell its name. */
void Notify(TestPartner& partner, char id) {
    const char bytes[] = {id, 0, 0, 0};
    g_dbus_connection_emit_signal(
        partner.Connection(), nullptr, "/org/morva/javamw/CommunicationChannel/Applist",
        "org.morva.javamw.DbusCommunication", "SendSignal",
        g_variant_new("(@ay)",
                      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes, sizeof(bytes), 1)),
        nullptr);
}

std::string ReadUntil(GSubprocess* host, const std::string& wanted) {
    g_autoptr(GDataInputStream) output =
        g_data_input_stream_new(g_subprocess_get_stdout_pipe(host));
    while (true) {
        g_autofree char* line = g_data_input_stream_read_line(output, nullptr, nullptr, nullptr);
        if (line == nullptr || line == wanted) {
            return line == nullptr ? "" : line;
        }
    }
}

void Run(const char* program) {
    const PrivateBus bus;
    TestPartner partner(bus);
    partner.AnswerWith([](const TestPartner::Bytes& request) {
        return request == ByteVector("\xD1\x07\0\0"s) ? ByteVector("any\nmusic.02\n"s)
                                                      : TestPartner::Bytes();
    });
    g_autoptr(GSubprocess) host = Start(program);
    Expect(partner.WaitForAnnouncement("_CLIENT_ACK"), "the host is ready");

    Notify(partner, 4);
    Expect(partner.WaitForRequests(2), "the created list is filled");
    const std::vector<TestPartner::Bytes> requests = partner.Requests();
    Expect(requests[0] == ByteVector("Clock\nclock.01\nMusic Player\nmusic.02\n\xD4\x07\0\0"s),
           "the list came over");
    Expect(requests[1] == ByteVector("Clock\nclock.01\n\xD0\x07\0\0"s), "the selection came over");

    Notify(partner, 2);
    Expect(ReadUntil(host, "selected: Music Player") == "selected: Music Player",
           "the host printed the selection");
    g_subprocess_force_exit(host);
    g_subprocess_wait(host, nullptr, nullptr);
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
