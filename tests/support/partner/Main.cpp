// A partner process for tests: small, without the library, and controlled by lines on standard
// input. Tests can kill, stop, replace and query the process.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include <gio/gio.h>
#include <unistd.h>

#include "Hex.h"
#include "Options.h"
#include "Partner.h"
#include "Records.h"

namespace {

constexpr const char* SUMMARY =
    "Joins the system bus (DBUS_SYSTEM_BUS_ADDRESS), connects with a host and keeps\n"
    "a copy of its list. Exits at the end of its standard input. Moments of --kill-at:\n"
    "syn-announced syn-seen syn-ack-announced ack-seen syn-ack-seen ack-announced\n"
    "request-seen\n"
    "\n"
    "Prints \"name NAME\" and, each time, \"connected HOST\". Reads commands, with bytes in\n"
    "hexadecimal and \"-\" for none, and answers each with a line that starts with its word:\n"
    "  syn                announce SYN      created            a new, empty list\n"
    "  notify HEX         one notification  select HEX         the selection query's answer\n"
    "  burst COUNT        numbered ones     noise MS           the four events, 0: silence\n"
    "  call HEX           call the host     list               its records, its selection\n"
    "  requests           those since last  received           count, count in order\n"
    "  choose NUMBER      select that item of its list, or nothing after the last one\n"
    "  leave              leave the bus";

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

// The arguments after the name of the command.
std::string RunCommand(Partner& partner, const std::string& command, const std::string& argument) {
    const auto number = static_cast<unsigned>(std::strtoul(argument.c_str(), nullptr, 10));
    if (command == "syn") {
        partner.Announce("_SYN");
    } else if (command == "created") {
        partner.CreateList();
    } else if (command == "notify") {
        partner.Notify(Hex::Bytes(argument));
    } else if (command == "select") {
        partner.List().Answer(Hex::Bytes(argument));
    } else if (command == "choose") {
        partner.List().Choose(number);
        partner.Notify(Records::Frame("", Records::SELECTION_EVENT));
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
    PrintLine(command + RunCommand(*session->partner, command, argument));
    return G_SOURCE_CONTINUE;
}

Partner::Options ReadOptions(int argc, char** argv) {
    g_autofree char* id = nullptr;
    g_autofree char* moment = nullptr;
    gint64 retryMs = 20;
    gint64 replySize = 0;
    gboolean created = FALSE;
    gboolean keepRequests = FALSE;
    ParseOptions(
        argc, argv, SUMMARY,
        {TextOption("id", id, "The endpoint id (Applist)"),
         TextOption("kill-at", moment, "Send SIGKILL to itself at this moment"),
         NumberOption("retry-ms", retryMs, "Period of the announcements until connected (20)"),
         NumberOption("reply-size", replySize,
                      "Bytes of each reply except to the selection query (0)"),
         FlagOption("created", created, "Send the created event when connected"),
         FlagOption("keep-requests", keepRequests, "Keep the requests for \"requests\"")});
    return {id != nullptr ? id : "Applist",
            moment != nullptr ? moment : "",
            static_cast<unsigned>(retryMs),
            static_cast<std::size_t>(replySize),
            created != FALSE,
            keepRequests != FALSE};
}

} // namespace

int main(int argc, char** argv) {
    Session session{std::make_unique<Partner>(ReadOptions(argc, argv)),
                    g_main_loop_new(nullptr, FALSE)};
    g_autoptr(GIOChannel) input = g_io_channel_unix_new(STDIN_FILENO);
    g_io_add_watch(input, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), OnLine, &session);
    g_main_loop_run(session.loop);
    session.partner.reset();
    g_main_loop_unref(session.loop);
    return 0;
}
