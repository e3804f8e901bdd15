// The reference of all comparisons: bare GDBus on its own connection, to the same object of the
// same partner, with the same bytes.
#ifndef APPLIST_BENCH_REFERENCE_H
#define APPLIST_BENCH_REFERENCE_H

#include <string>
#include <vector>

#include <gio/gio.h>

inline namespace applist_bench {

class Reference {
public:
    /** Connects to the bus for calls to @p partner, a unique name. Exits the program without a bus.
     */
    explicit Reference(std::string partner);
    ~Reference();

    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    const char* UniqueName() const { return g_dbus_connection_get_unique_name(m_connection); }

    /** One request: a call of "Send" whose reply is discarded. */
    void Call(const char* path, const std::vector<char>& data) const;

    /** One notification. */
    void Emit(const char* path, const std::vector<char>& data) const;

    /** From now on counts the partner's notifications from @p path in Received. */
    void Subscribe(const char* path);
    unsigned long Received() const { return m_received; }

    GDBusConnection* Connection() const { return m_connection; }

    /**
     * The number of notifications that the partner has received since the last call. The call
     * follows the earlier signals of @p connection.
     */
    unsigned long PartnerCount(GDBusConnection* connection) const;

    /** Requests notifications of the partner; does not wait. */
    void RequestSignals(const std::string& destination, const char* path, unsigned count,
                        unsigned size, int id) const;

private:
    static void OnSignal(GDBusConnection* connection, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* parameters,
                         void* self);

    GDBusConnection* m_connection = nullptr;
    std::string m_partner;
    unsigned long m_received = 0;
    unsigned long m_bytes = 0;
};

} // namespace applist_bench

#endif
