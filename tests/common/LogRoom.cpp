#include "LogRoom.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int NO_ROOM = 77;

void WriteFile(const char* path, const std::string& text) {
    std::ofstream(path) << text;
}

bool EnterRoom() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    // Root may do without a user namespace, and containers often allow root only this.
    if (user != 0 || unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        WriteFile("/proc/self/setgroups", "deny");
        WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/run", "tmpfs", 0, nullptr) == 0 &&
           mount("none", "/dev", "tmpfs", 0, nullptr) == 0 && mkdir("/run/systemd", 0755) == 0 &&
           mkdir("/run/systemd/journal", 0755) == 0;
}

void Send(int pipe, const std::string& text) {
    const std::uint64_t size = text.size();
    if (write(pipe, &size, sizeof(size)) < 0 || write(pipe, text.data(), text.size()) < 0) {
        _exit(1);
    }
}

std::string ReadAll(int pipe) {
    std::string all;
    char buffer[4096];
    ssize_t length = 0;
    while ((length = read(pipe, buffer, sizeof(buffer))) > 0) {
        all.append(buffer, static_cast<std::size_t>(length));
    }
    return all;
}

std::vector<std::string> Split(const std::string& sent) {
    std::vector<std::string> texts;
    for (std::size_t at = 0; at + sizeof(std::uint64_t) <= sent.size();) {
        std::uint64_t size = 0;
        std::memcpy(&size, &sent[at], sizeof(size));
        at += sizeof(size);
        texts.push_back(sent.substr(at, size));
        at += size;
    }
    return texts;
}

} // namespace

LogSocket::LogSocket(const std::string& path)
    : m_path(path), m_socket(socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("cannot bind " + path);
    }
}

LogSocket::~LogSocket() {
    close(m_socket);
    unlink(m_path.c_str());
}

std::vector<std::string> LogSocket::Datagrams() const {
    std::vector<std::string> datagrams;
    std::string buffer(1 << 16, '\0');
    ssize_t length = 0;
    // On one machine a datagram has arrived when its sending has returned.
    while ((length = recv(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT)) >= 0) {
        datagrams.push_back(buffer.substr(0, static_cast<std::size_t>(length)));
    }
    return datagrams;
}

std::optional<std::vector<std::string>>
LogRoom::Run(const std::function<std::vector<std::string>()>& work) {
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        if (!EnterRoom()) {
            _exit(NO_ROOM);
        }
        for (const std::string& text : work()) {
            Send(ends[1], text);
        }
        _exit(0);
    }
    close(ends[1]);
    const std::string sent = ReadAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == NO_ROOM) {
        return std::nullopt;
    }
    if (status != 0) {
        throw std::runtime_error("the child failed with status " + std::to_string(status));
    }
    return Split(sent);
}
