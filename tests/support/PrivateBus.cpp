#include "PrivateBus.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

PrivateBus::PrivateBus(const std::string& policy) {
    char folder[] = "/tmp/applist-bus-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_folder = folder;
    WriteConfiguration(policy);

    int addressPipe[2];
    if (pipe(addressPipe) != 0) {
        throw std::runtime_error("no pipe");
    }
    const std::string configOption = "--config-file=" + m_folder + "/bus.conf";
    const std::string addressOption = "--print-address=" + std::to_string(addressPipe[1]);
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(addressPipe[0]);
        execlp("dbus-daemon", "dbus-daemon", configOption.c_str(), "--nofork", "--nopidfile",
               addressOption.c_str(), nullptr);
        _exit(127);
    }
    close(addressPipe[1]);
    char byte = 0;
    while (read(addressPipe[0], &byte, 1) == 1 && byte != '\n') {
        m_address += byte;
    }
    close(addressPipe[0]);
    if (m_address.empty()) {
        throw std::runtime_error("dbus-daemon did not start");
    }
    setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    Kill();
    unlink((m_folder + "/bus.conf").c_str());
    unlink((m_folder + "/bus").c_str());
    rmdir(m_folder.c_str());
}

void PrivateBus::WriteConfiguration(const std::string& policy) const {
    std::ofstream config(m_folder + "/bus.conf");
    config << "<!DOCTYPE busconfig PUBLIC '-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN'\n"
              " 'http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd'>\n"
              "<busconfig>\n<listen>unix:path="
           << m_folder
           << "/bus</listen>\n<auth>EXTERNAL</auth>\n<policy context='default'>\n"
              "<allow user='*'/><allow own='*'/><allow send_destination='*' eavesdrop='true'/>\n"
              "<allow receive_sender='*' eavesdrop='true'/><allow send_type='method_call'/>\n"
           << policy << "\n</policy>\n</busconfig>\n";
}

GDBusConnection* PrivateBus::Connect() const {
    g_autoptr(GError) error = nullptr;
    GDBusConnection* const connection = g_dbus_connection_new_for_address_sync(
        m_address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (connection == nullptr) {
        throw std::runtime_error(error->message);
    }
    return connection;
}

void PrivateBus::SetPolicy(const std::string& policy) {
    WriteConfiguration(policy);
    g_autoptr(GDBusConnection) connection = Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ReloadConfig", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        throw std::runtime_error(error->message);
    }
}

void PrivateBus::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}
