// Reads the captures of "busctl capture" and "dbus-monitor --pcap": D-Bus messages in pcap or
// pcapng.
#ifndef APPLIST_TOOLS_FILECAPTURE_H
#define APPLIST_TOOLS_FILECAPTURE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <pcap/pcap.h>

#include <monitor/SeenMessage.h>

namespace applistctl {

class FileCapture {
public:
    enum class Result {
        Message,
        Cut,        ///< the capture has too few bytes of a message
        Unreadable, ///< a message is damaged; the next one may be intact
        Foreign,    ///< a local message, never sent on the bus
        End,
        Damaged ///< the file is damaged, and nothing more can be read
    };

    /**
     * @param wait called before each read from a pipe, with its descriptor: returns when the read
     *             does not block, and false to end the capture
     */
    explicit FileCapture(std::function<bool(int descriptor)> wait) : m_wait(std::move(wait)) {}

    /** @param file "-" is standard input. @return false with the reason in @p problem if the file
     * is not a capture */
    bool Open(const std::string& file, std::string& problem);

    /** Waits for a message, or for the end. @param seen has a time also when unreadable */
    Result Read(SeenMessage& seen, std::string& problem);

private:
    struct Close {
        void operator()(pcap_t* capture) const { pcap_close(capture); }
    };
    bool Wait() const { return m_descriptor < 0 || m_wait(m_descriptor); }
    Result Parse(const unsigned char* bytes, std::size_t captured, std::size_t length,
                 SeenMessage& seen, std::string& problem) const;

    std::function<bool(int)> m_wait;
    int m_descriptor = -1; ///< of a pipe
    std::unique_ptr<pcap_t, Close> m_capture;
    Microseconds m_time = 0;
};

} // namespace applistctl

#endif
