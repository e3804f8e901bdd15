// Reads the captures of "busctl capture" and "dbus-monitor --pcap": D-Bus messages in pcap or
// pcapng.
#ifndef APPLIST_TOOLS_FILECAPTURE_H
#define APPLIST_TOOLS_FILECAPTURE_H

#include <cstddef>
#include <memory>
#include <string>

#include <pcap/pcap.h>

#include <monitor/SeenMessage.h>

namespace applistctl {

class FileCapture {
public:
    enum class Result {
        Message,
        Unreadable, ///< a message is damaged; the next may be well
        Foreign,    ///< none that went over the bus
        End,
        Damaged ///< the file is; nothing more can be read
    };

    /** @param file "-" is standard input. @return false, and why, when it is no such capture */
    bool Open(const std::string& file, std::string& problem);

    /** Waits for a message, or for the end. @param seen has a time also when unreadable */
    Result Read(SeenMessage& seen, std::string& problem);

private:
    struct Close {
        void operator()(pcap_t* capture) const { pcap_close(capture); }
    };
    Result Parse(const unsigned char* bytes, std::size_t captured, std::size_t length,
                 SeenMessage& seen, std::string& problem) const;

    std::unique_ptr<pcap_t, Close> m_capture;
    Microseconds m_time = 0;
};

} // namespace applistctl

#endif
