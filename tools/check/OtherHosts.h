// Hosts of other processes on the bus of a check. A partner serves one host at a time, so another
// host makes a good partner fail the check.
#ifndef APPLIST_TOOLS_OTHERHOSTS_H
#define APPLIST_TOOLS_OTHERHOSTS_H

#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <shared/PeerProcess.h>
#include <shared/SystemBus.h>

namespace applistctl {

class OtherHosts {
public:
    OtherHosts();
    ~OtherHosts();

    OtherHosts(const OtherHosts&) = delete;
    OtherHosts& operator=(const OtherHosts&) = delete;

    /**
     * Finds a host that is on the bus. Without match rules, it finds only a waiting check.
     * @return the host, its partner and the remedy in one line; empty without another host
     */
    std::string Describe(double limit) const;

    GDBusConnection* Connection() const { return m_bus.Connection(); }

    /** Calls @p onHost once, with the same line, when another host announces a step. */
    void Watch(std::function<void(const std::string& text)> onHost);

    /**
     * Describes the hosts and partners of a bus without match rules, on which no partner answers.
     * @return empty for fewer than two, unless one is a check: a single process may be a partner
     *         without a host
     */
    static std::string DescribeCandidates(GDBusConnection* connection, double limit);

private:
    static void OnNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                   const char* path, const char* interface, const char* signal,
                                   GVariant* parameters, void* user_data);
    std::string DescribeWithoutRules(double limit) const;
    std::string DescribeOwningCheck() const;
    bool IsOwn(const PeerProcess& process) const { return process.pid == m_ownPid; }

    SystemBus m_bus;
    guint32 m_ownPid = 0; ///< as the bus reports it: 0 when it reports none
    std::vector<guint> m_subscriptionIds;
    std::function<void(const std::string&)> m_onHost;
};

} // namespace applistctl

#endif
