// The processes that announce steps of the partner during a check, or send notifications. A stopped
// process breaks no duty, and two partners would fulfil the duties of each other.
#ifndef APPLIST_TOOLS_PARTNERPROCESSES_H
#define APPLIST_TOOLS_PARTNERPROCESSES_H

#include <set>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace applistctl {

class PartnerProcesses {
public:
    /** @param connection outlives this object, whose callbacks run in the main context */
    explicit PartnerProcesses(GDBusConnection* connection);
    ~PartnerProcesses();

    PartnerProcesses(const PartnerProcesses&) = delete;
    PartnerProcesses& operator=(const PartnerProcesses&) = delete;

    /**
     * Describes a stopped partner on the bus: one that has announced a step, or before the first
     * step one of the match rules.
     * @return the process and the remedy in one line; empty without a stopped partner
     */
    std::string DescribeStopped();

    /** Adds the sender of a notification. */
    void Add(const std::string& uniqueName) { m_names.insert(uniqueName); }

    /**
     * Describes the partners on the bus, when there are several. Waits for the end of a partner
     * that is being replaced.
     * @return the processes in one line; empty for fewer than two
     */
    std::string DescribeSeveral();

private:
    static void OnNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                   const char* path, const char* interface, const char* signal,
                                   GVariant* parameters, void* user_data);

    /** The names on the bus, without those of this process, which owns names of the partner. */
    std::vector<std::string> NamesOnBus() const;

    GDBusConnection* m_connection;
    std::vector<guint> m_subscriptionIds;
    std::set<std::string> m_names; ///< unique
};

} // namespace applistctl

#endif
