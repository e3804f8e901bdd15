// A partner process for tests: small, without the library, and led line by line, so that it can be
// killed, stopped, replaced and asked.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include <gio/gio.h>
#include <unistd.h>

#include "Hex.h"
#include "Partner.h"

namespace {

constexpr const char* USAGE =
    "Usage: applist_test_partner [OPTION...]\n"
    "\n"
    "Joins the system bus (DBUS_SYSTEM_BUS_ADDRESS), shakes hands with a host and keeps\n"
    "a copy of its list. Ends with its standard input.\n"
    "\n"
    "  --id ID            the endpoint id (default: Applist)\n"
    "  --retry-ms N       how often it announces itself until connected (20; 0: once)\n"
    "  --die-at MOMENT    SIGKILLs itself there: syn-announced syn-seen syn-ack-announced\n"
    "                     ack-seen syn-ack-seen ack-announced request-seen\n"
    "  --reply-size N     bytes of each reply but that to the selection query (0)\n"
    "  --created          sends the created event whenever it is connected\n"
    "  --keep-requests    remembers the requests for \"requests\"\n"
    "\n"
    "It prints \"name NAME\" and, each time, \"connected HOST\". Lines it takes, bytes in\n"
    "hexadecimal and \"-\" for none; each is answered with one line that starts alike:\n"
    "  syn                announce SYN      created            a new, empty list\n"
    "  notify HEX         one notification  select HEX         the selection query's answer\n"
    "  burst COUNT        numbered ones     noise MS           the four events, 0: silence\n"
    "  call HEX           call the host     list               its records, its selection\n"
    "  requests           those since last  received           count, count in order\n"
    "  leave              leave the bus\n";

struct Session {
    std::unique_ptr<Partner> partner;
    GMainLoop* loop;
};

std::string Requests(Partner& partner) {
    std::string line;
    for (const std::string& request : partner.TakeRequests()) {
        line += " " + Hex::Of(request);
    }
    return line;
}

// What is said behind the command's own word.
std::string Obey(Partner& partner, const std::string& command, const std::string& argument) {
    const auto number = static_cast<unsigned>(std::strtoul(argument.c_str(), nullptr, 10));
    if (command == "syn") {
        partner.Announce("_SYN");
    } else if (command == "created") {
        partner.CreateList();
    } else if (command == "notify") {
        partner.Notify(Hex::Bytes(argument));
    } else if (command == "select") {
        partner.List().Answer(Hex::Bytes(argument));
    } else if (command == "burst") {
        partner.Burst(number);
    } else if (command == "noise") {
        partner.MakeNoise(number);
    } else if (command == "call") {
        return " " + Hex::Of(partner.Call(Hex::Bytes(argument)));
    } else if (command == "list") {
        return " " + Hex::Of(partner.List().Stream()) + " " + Hex::Of(partner.List().Selection());
    } else if (command == "requests") {
        return Requests(partner);
    } else if (command == "received") {
        return " " + partner.Received();
    } else {
        return " is unknown";
    }
    return "";
}

gboolean OnLine(GIOChannel* input, GIOCondition /*condition*/, void* data) {
    auto* const session = static_cast<Session*>(data);
    g_autofree char* text = nullptr;
    gsize lineEnd = 0;
    if (g_io_channel_read_line(input, &text, nullptr, &lineEnd, nullptr) != G_IO_STATUS_NORMAL ||
        std::string(text, lineEnd) == "leave") {
        g_main_loop_quit(session->loop);
        return G_SOURCE_REMOVE;
    }
    std::istringstream line(std::string(text, lineEnd));
    std::string command;
    std::string argument;
    line >> command >> argument;
    Say(command + Obey(*session->partner, command, argument));
    return G_SOURCE_CONTINUE;
}

bool ReadOptions(int argc, char** argv, Partner::Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--created") {
            options.createsList = true;
            continue;
        }
        if (option == "--keep-requests") {
            options.keepsRequests = true;
            continue;
        }
        if (i + 1 == argc) {
            return false;
        }
        const std::string value = argv[++i];
        if (option == "--id") {
            options.id = value;
        } else if (option == "--die-at") {
            options.dieAt = value;
        } else if (option == "--retry-ms") {
            options.retryMs = static_cast<unsigned>(std::strtoul(value.c_str(), nullptr, 10));
        } else if (option == "--reply-size") {
            options.replySize = std::strtoul(value.c_str(), nullptr, 10);
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string(argv[1]) == "--help") {
        std::fputs(USAGE, stdout);
        return 0;
    }
    Partner::Options options;
    if (!ReadOptions(argc, argv, options)) {
        std::fprintf(stderr, "applist_test_partner: bad options\n%s", USAGE);
        return 2;
    }
    Session session{std::make_unique<Partner>(options), g_main_loop_new(nullptr, FALSE)};
    g_autoptr(GIOChannel) input = g_io_channel_unix_new(STDIN_FILENO);
    g_io_add_watch(input, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), OnLine, &session);
    g_main_loop_run(session.loop);
    session.partner.reset();
    g_main_loop_unref(session.loop);
    return 0;
}
