// A private bus of the test, which is the system bus of the library: dbus-daemon, or dbus-broker
// with APPLIST_TEST_BUS=dbus-broker in the environment.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <gio/gio.h>

#include "Process.h"

inline namespace applist_test {

/**
 * Starts a bus that ends with the test, and points DBUS_SYSTEM_BUS_ADDRESS at it. Anything is
 * allowed, unless a policy denies it.
 */
class PrivateBus {
public:
    /** @param policy XML rules for the default context, after the rule that allows everything. */
    explicit PrivateBus(const std::string& policy = "");

    /**
     * A bus with other rules, which every user of the machine can reach.
     * @param configuration makes the whole XML text, given the address to listen at
     */
    explicit PrivateBus(
        const std::function<std::string(const std::string& address)>& configuration);
    ~PrivateBus();

    /** Whether the bus of the tests is dbus-broker, which APPLIST_TEST_BUS selects. */
    static bool IsBroker();

    /** The size limit of a message on this bus, in bytes; a larger one disconnects its sender. */
    static std::size_t LargestMessage();

    const std::string& Address() const { return m_address; }

    /** A connection of its own (not the process's shared one). The caller owns it. */
    GDBusConnection* Connect() const;

    /** Replaces the rules. The new rules apply on return. */
    void SetPolicy(const std::string& policy);

    /** Sends SIGKILL to the daemon. */
    void Kill();

    /** Kills the bus and starts another one at the same path. */
    void Restart();

    /** The bus reads its configuration again, which applies on return. */
    void Reload() const;

private:
    void MakeFolder();
    void Start();
    void StartDaemon();
    void StartBroker();
    std::string OpenConfiguration(const std::string& policy) const;
    void WriteConfiguration(const std::string& text) const;

    std::string m_folder;
    std::string m_address;
    std::unique_ptr<Process> m_daemon;
    std::unique_ptr<Process> m_journal;
};

} // namespace applist_test
