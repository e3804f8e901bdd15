// Writes a capture of D-Bus messages in the pcap format, one message at a time: for messages that
// no bus delivers, and for long times without a wait. Names, path and bytes are literals here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <gio/gio.h>

#include "Channel.h"

inline namespace applist_test {

class CaptureWriter {
public:
    static constexpr const char* HOST = ":1.7";
    static constexpr const char* PARTNER = ":1.8";

    /** @param linkType 231 is D-Bus */
    explicit CaptureWriter(std::uint32_t linkType = 231);

    /** The time of the messages from here on, since the capture's start. */
    CaptureWriter& At(double milliseconds) {
        m_milliseconds = milliseconds;
        return *this;
    }

    /** NameOwnerChanged: @p owner acquires or releases the name of a step, such as "_CLIENT_SYN".
     */
    void Take(const std::string& step, const std::string& owner);
    void Announce(const std::string& step, const std::string& owner);
    void Leave(const std::string& peer);

    /** Each body is consumed; null for none. @return the call's serial */
    std::uint32_t Call(const std::string& from, const std::string& to, GVariant* body,
                       const std::string& member = "Send");
    std::uint32_t CallDaemon(const std::string& from, const std::string& member, GVariant* body);
    void Reply(const std::string& from, const std::string& to, std::uint32_t serial,
               GVariant* body);
    void Error(const std::string& from, const std::string& to, std::uint32_t serial,
               const std::string& name, const std::string& text);
    void Notify(GVariant* body, const std::string& member = "SendSignal",
                const std::string& from = PARTNER, const std::string& to = HOST);
    void SignalOf(const std::string& from, const std::string& to, const std::string& interface,
                  const std::string& member, const std::string& path = PATH);

    /** A request of the host, and the reply @p latency milliseconds later. */
    void RequestAndReply(const std::string& request, double latency, const std::string& reply = "");

    /** The handshake of HOST and PARTNER, in a millisecond. */
    void Connect();

    /** From now on, the capture contains at most @p size bytes of a message. */
    void CutAt(std::size_t size) { m_mostCaptured = size; }

    /** Any bytes as a packet, which claims to be longer than they are. */
    void Packet(const std::string& bytes, std::size_t length);
    void Append(const std::string& bytes) { m_bytes += bytes; }

    const std::string& Bytes() const { return m_bytes; }

    /** A message: payload, then id. */
    static std::string Framed(const std::string& payload, std::int32_t id);
    /** "(ay)" */
    static GVariant* Body(const std::string& bytes);

private:
    void OwnerChanged(const std::string& name, const std::string& oldOwner,
                      const std::string& newOwner);
    std::uint32_t Add(GDBusMessage* message, const std::string& from, GVariant* body);

    std::string m_bytes;
    double m_milliseconds = 0;
    std::uint32_t m_serial = 0;
    std::size_t m_mostCaptured = static_cast<std::size_t>(-1);
};

} // namespace applist_test
