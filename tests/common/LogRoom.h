// A place where the platform's log sockets are the test's own: a child process in namespaces of its
// own, with an empty /run and an empty /dev.
#ifndef APPLIST_TESTS_LOGROOM_H
#define APPLIST_TESTS_LOGROOM_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

/** A datagram socket at a path. */
class LogSocket {
public:
    explicit LogSocket(const std::string& path);
    ~LogSocket();

    LogSocket(const LogSocket&) = delete;
    LogSocket& operator=(const LogSocket&) = delete;

    /** The datagrams that have arrived. */
    std::vector<std::string> Datagrams() const;

private:
    std::string m_path;
    int m_socket;
};

namespace LogRoom {

constexpr const char* JOURNAL = "/run/systemd/journal/socket";
constexpr const char* SYSLOG = "/dev/log";

/**
 * Runs @p work in the room and hands over the strings that it returns. Nothing when this machine
 * permits no such namespaces.
 */
std::optional<std::vector<std::string>> Run(const std::function<std::vector<std::string>()>& work);

} // namespace LogRoom

#endif
