// The partner of every measurement, with the least possible work: one thread of libdbus that
// performs the handshake, answers Send with an empty array, counts signals, and emits signals on
// request. Writes "ready" to standard output once its watches are in place. With a file as its
// argument, it writes the time of each reply into the file.
#include "Names.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dbus/dbus.h>

#include "Ready.h"
#include "ReplyTime.h"

namespace {

std::uint64_t signalsReceived = 0;
ReplyTime* replyTime = nullptr;

void Reply(DBusConnection* connection, DBusMessage* reply) {
    dbus_connection_send(connection, reply, nullptr);
    dbus_message_unref(reply);
}

void AnswerSend(DBusConnection* connection, DBusMessage* call) {
    DBusMessage* const reply = dbus_message_new_method_return(call);
    const char* const nothing = "";
    dbus_message_append_args(reply, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &nothing, 0,
                             DBUS_TYPE_INVALID);
    if (replyTime != nullptr) {
        *replyTime = Ready::Now();
    }
    Reply(connection, reply);
}

void AnswerCount(DBusConnection* connection, DBusMessage* call) {
    DBusMessage* const reply = dbus_message_new_method_return(call);
    dbus_message_append_args(reply, DBUS_TYPE_UINT64, &signalsReceived, DBUS_TYPE_INVALID);
    signalsReceived = 0;
    Reply(connection, reply);
}

void Emit(DBusConnection* connection, DBusMessage* call) {
    const char* destination = nullptr;
    const char* path = nullptr;
    dbus_uint32_t count = 0;
    dbus_uint32_t size = 0;
    dbus_int32_t id = 0;
    if (dbus_message_get_args(call, nullptr, DBUS_TYPE_STRING, &destination, DBUS_TYPE_STRING,
                              &path, DBUS_TYPE_UINT32, &count, DBUS_TYPE_UINT32, &size,
                              DBUS_TYPE_INT32, &id, DBUS_TYPE_INVALID) == FALSE) {
        std::fputs("partner: Emit with other arguments\n", stderr);
        return;
    }
    std::vector<char> data(size, 'x');
    for (std::size_t byte = 0; byte < 4 && byte < data.size(); ++byte) {
        data[data.size() - 4 + byte] = static_cast<char>(id >> (8 * byte));
    }
    const char* const bytes = data.data();
    for (dbus_uint32_t sent = 0; sent < count; ++sent) {
        DBusMessage* const signal = dbus_message_new_signal(path, Names::INTERFACE, Names::SIGNAL);
        dbus_message_set_destination(signal, destination);
        dbus_message_append_args(signal, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes,
                                 static_cast<int>(data.size()), DBUS_TYPE_INVALID);
        Reply(connection, signal);
    }
}

void Announce(DBusConnection* connection, const std::string& name) {
    dbus_bus_request_name(connection, name.c_str(), DBUS_NAME_FLAG_DO_NOT_QUEUE, nullptr);
    dbus_bus_release_name(connection, name.c_str(), nullptr);
}

// A client that released a handshake name has announced that step; it gets the next one.
void OnNameOwnerChanged(DBusConnection* connection, DBusMessage* signal) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (dbus_message_get_args(signal, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &oldOwner,
                              DBUS_TYPE_STRING, &newOwner, DBUS_TYPE_INVALID) == FALSE ||
        *newOwner != '\0') {
        return;
    }
    for (const char* base : {Names::LIST_BASE, Names::ENDPOINT_BASE}) {
        const std::string stem(base);
        if (name == stem + "_CLIENT_SYN") {
            Announce(connection, stem + "_SERVICE_SYN_ACK");
        } else if (name == stem + "_CLIENT_SYN_ACK") {
            Announce(connection, stem + "_SERVICE_ACK");
        }
    }
}

DBusHandlerResult OnMessage(DBusConnection* connection, DBusMessage* message, void* /*data*/) {
    if (dbus_message_is_method_call(message, Names::INTERFACE, Names::METHOD)) {
        AnswerSend(connection, message);
    } else if (dbus_message_is_signal(message, Names::INTERFACE, Names::SIGNAL)) {
        ++signalsReceived;
    } else if (dbus_message_is_signal(message, Names::BUS, "NameOwnerChanged")) {
        OnNameOwnerChanged(connection, message);
    } else if (dbus_message_is_method_call(message, Names::CONTROL_INTERFACE,
                                           Names::CONTROL_COUNT)) {
        AnswerCount(connection, message);
    } else if (dbus_message_is_method_call(message, Names::CONTROL_INTERFACE,
                                           Names::CONTROL_EMIT)) {
        Emit(connection, message);
    } else {
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }
    return DBUS_HANDLER_RESULT_HANDLED;
}

DBusConnection* Connect() {
    const char* const address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    DBusError error = DBUS_ERROR_INIT;
    DBusConnection* const connection =
        address == nullptr ? nullptr : dbus_connection_open_private(address, &error);
    if (connection == nullptr || dbus_bus_register(connection, &error) == FALSE) {
        std::fprintf(stderr, "partner: no bus: %s\n", error.message);
        std::exit(1);
    }
    dbus_connection_set_exit_on_disconnect(connection, TRUE);
    return connection;
}

void WatchClients(DBusConnection* connection) {
    for (const char* base : {Names::LIST_BASE, Names::ENDPOINT_BASE}) {
        for (const char* suffix : {"_CLIENT_SYN", "_CLIENT_SYN_ACK", "_CLIENT_ACK"}) {
            const std::string rule = std::string("type='signal',sender='") + Names::BUS +
                                     "',member='NameOwnerChanged',arg0='" + base + suffix + "'";
            DBusError error = DBUS_ERROR_INIT;
            dbus_bus_add_match(connection, rule.c_str(), &error); // waits for the answer
            if (dbus_error_is_set(&error) != FALSE) {
                std::fprintf(stderr, "partner: %s\n", error.message);
                std::exit(1);
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    replyTime = argc == 2 ? &MapReplyTime(argv[1]) : nullptr;
    DBusConnection* const connection = Connect();
    dbus_connection_add_filter(connection, OnMessage, nullptr, nullptr);
    WatchClients(connection);
    std::puts("ready");
    std::fflush(stdout);
    while (dbus_connection_read_write_dispatch(connection, -1) != FALSE) {
    }
    return 0;
}
