#include <monitor/FileCapture.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include <glib.h>
#include <sys/stat.h>

#include <shared/Counted.h>

namespace applistctl {

namespace {

constexpr std::size_t HEADER_START = 16;           ///< bytes with all lengths of a message
constexpr Microseconds LAST_SECOND = 253402300799; // of the year 9999

Microseconds TimeOf(const pcap_pkthdr& header) {
    const auto seconds = static_cast<Microseconds>(header.ts.tv_sec);
    const auto rest = static_cast<Microseconds>(header.ts.tv_usec);
    return std::clamp<Microseconds>(seconds, 0, LAST_SECOND) * SECOND +
           std::clamp<Microseconds>(rest, 0, SECOND - 1);
}

bool IsFile(std::FILE* stream) {
    struct stat status {};
    return fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode);
}

// libdbus and sd-bus report the end of the bus to their own program with a message, and capture
// that message too.
bool IsLocal(const std::vector<unsigned char>& blob) {
    static const std::string path = "/org/freedesktop/DBus/Local";
    return std::search(blob.begin(), blob.end(), path.begin(), path.end()) != blob.end();
}

// Without bytes, libpcap reports only a length.
std::string DescribeContent(const std::string& file, std::FILE* stream) {
    struct stat status {};
    if (fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode)) {
        return file + " is a folder: --read takes a capture file";
    }
    const int first = std::getc(stream);
    if (first == EOF) {
        return file + " is no capture: it is empty";
    }
    std::ungetc(first, stream);
    return "";
}

} // namespace

bool FileCapture::Open(const std::string& file, std::string& problem) {
    std::FILE* const stream = file == "-" ? stdin : std::fopen(file.c_str(), "rbe");
    if (stream == nullptr) {
        problem = file + ": " + std::strerror(errno);
        return false;
    }
    if (!IsFile(stream)) {
        // Bytes in a buffer of the stream would be invisible to the wait.
        std::setvbuf(stream, nullptr, _IONBF, 0);
        m_descriptor = fileno(stream);
    }
    const std::string source = file == "-" ? "standard input" : file;
    char text[PCAP_ERRBUF_SIZE] = "";
    if (Wait()) {
        problem = DescribeContent(source, stream);
    }
    if (!problem.empty()) {
        if (stream != stdin) {
            std::fclose(stream);
        }
        return false;
    }
    m_capture.reset(pcap_fopen_offline(stream, text)); // closes the stream with itself
    if (m_capture == nullptr) {
        if (stream != stdin) {
            std::fclose(stream);
        }
        problem = source + " is no capture: " + text;
        return false;
    }
    if (pcap_datalink(m_capture.get()) != DLT_DBUS) {
        const char* const type = pcap_datalink_val_to_name(pcap_datalink(m_capture.get()));
        problem = source + " is a capture of " + (type != nullptr ? type : "something else") +
                  ", not of D-Bus";
        return false;
    }
    return true;
}

FileCapture::Result FileCapture::Read(SeenMessage& seen, std::string& problem) {
    if (!Wait()) {
        return Result::End;
    }
    pcap_pkthdr* header = nullptr;
    const unsigned char* bytes = nullptr;
    const int status = pcap_next_ex(m_capture.get(), &header, &bytes);
    if (status == PCAP_ERROR_BREAK) {
        return Result::End;
    }
    if (status != 1) {
        problem = pcap_geterr(m_capture.get());
        return Result::Damaged;
    }
    m_time = std::max(m_time, TimeOf(*header));
    seen.time = m_time;
    return Parse(bytes, header->caplen, header->len, seen, problem);
}

// Bytes that were not captured become zeros: the rest of the message is then readable.
FileCapture::Result FileCapture::Parse(const unsigned char* bytes, std::size_t captured,
                                       std::size_t length, SeenMessage& seen,
                                       std::string& problem) const {
    std::vector<unsigned char> blob(bytes, bytes + captured);
    g_autoptr(GError) error = nullptr;
    const gssize needed = g_dbus_message_bytes_needed(blob.data(), blob.size(), &error);
    const bool isCut = captured < length &&
                       (captured < HEADER_START || static_cast<std::size_t>(needed) == length);
    if (isCut && needed > 0) {
        blob.resize(length);
    }
    GDBusMessage* message = nullptr;
    if (error == nullptr && (isCut || static_cast<std::size_t>(needed) == captured)) {
        message = g_dbus_message_new_from_blob(blob.data(), blob.size(),
                                               G_DBUS_CAPABILITY_FLAGS_UNIX_FD_PASSING, &error);
    }
    if (message == nullptr && IsLocal(blob)) {
        return Result::Foreign;
    }
    if (message == nullptr && isCut) {
        problem = "the capture has " + std::to_string(captured) + " of the " +
                  Counted(length, "byte") + " of a message";
        return Result::Cut;
    }
    if (message == nullptr) {
        problem = "a packet of " + Counted(captured, "byte") + " is no D-Bus message: " +
                  (error != nullptr ? std::string(error->message)
                                    : "it says that it has " + std::to_string(needed));
        return Result::Unreadable;
    }
    seen.message.reset(message);
    seen.cutBytes = length - std::min(captured, length);
    return Result::Message;
}

} // namespace applistctl
