#include "HeldConnection.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

sockaddr_un SocketAddress(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

int Socket() {
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

bool WriteAll(int descriptor, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = send(descriptor, bytes, size, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

// Reads a number of a message by the byte order in the first byte of the message.
std::size_t Number(const std::string& message, std::size_t at) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t place = message[0] == 'l' ? 3 - i : i;
        value = value << 8U | static_cast<unsigned char>(message[at + place]);
    }
    return value;
}

} // namespace

HeldConnection::HeldConnection(const PrivateBus& bus) : m_listener(Socket()) {
    const std::string address = bus.Address();
    const std::size_t start = address.find("path=") + 5;
    m_busPath = address.substr(start, address.find(',', start) - start);
    m_path = m_busPath + "-held";
    const sockaddr_un here = SocketAddress(m_path);
    if (bind(m_listener, reinterpret_cast<const sockaddr*>(&here), sizeof(here)) != 0 ||
        listen(m_listener, 1) != 0 || pipe2(m_wake, O_CLOEXEC) != 0) {
        throw std::runtime_error("no socket at " + m_path);
    }
    m_thread = std::thread(&HeldConnection::Run, this);
}

HeldConnection::~HeldConnection() {
    close(m_wake[1]);
    m_thread.join();
    close(m_wake[0]);
    close(m_listener);
    unlink(m_path.c_str());
}

std::string HeldConnection::UniqueName() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::seconds(20), [this] { return !m_uniqueName.empty(); });
    return m_uniqueName;
}

void HeldConnection::Release() {
    m_released = true;
    if (write(m_wake[1], "", 1) != 1) {
        throw std::runtime_error("the connection cannot be released");
    }
}

void HeldConnection::Run() {
    pollfd first[] = {{m_wake[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
    poll(first, 2, -1);
    if (first[1].revents == 0) {
        return;
    }
    const int client = accept(m_listener, nullptr, nullptr);
    const int bus = Socket();
    const sockaddr_un there = SocketAddress(m_busPath);
    bool open = connect(bus, reinterpret_cast<const sockaddr*>(&there), sizeof(there)) == 0;
    bool clientOpen = true;
    // The messages of a client that has left are also forwarded after the release.
    while (open && (clientOpen || !m_released)) {
        pollfd ends[] = {
            {m_wake[0], POLLIN, 0}, {bus, POLLIN, 0}, {clientOpen ? client : -1, POLLIN, 0}};
        poll(ends, 3, -1);
        char byte = 0;
        if (ends[0].revents != 0 && read(m_wake[0], &byte, 1) == 0) {
            break;
        }
        if (ends[2].revents != 0) {
            clientOpen = ReadFromClient(client);
        }
        open = (ends[1].revents == 0 || ReadFromBus(bus, client)) && ForwardToBus(bus);
    }
    close(client);
    close(bus);
}

bool HeldConnection::ReadFromClient(int client) {
    char buffer[4096];
    const ssize_t count = recv(client, buffer, sizeof(buffer), 0);
    if (count <= 0) {
        return false;
    }
    m_fromClient.append(buffer, static_cast<std::size_t>(count));
    return true;
}

bool HeldConnection::ForwardToBus(int bus) {
    const std::size_t end = Forwardable();
    const std::size_t start = m_forwarded;
    m_forwarded = end;
    return WriteAll(bus, m_fromClient.data() + start, end - start);
}

// Everything up to the end of the first message, which is Hello.
std::size_t HeldConnection::Forwardable() const {
    constexpr std::size_t FIXED_HEADER = 16;
    const std::string begin = "BEGIN\r\n";
    const std::size_t found = m_fromClient.find(begin);
    if (m_released || found == std::string::npos) {
        return m_fromClient.size();
    }
    const std::size_t start = found + begin.size();
    const std::string message = m_fromClient.substr(start);
    if (message.size() < FIXED_HEADER) {
        return start;
    }
    const std::size_t fields = (Number(message, 12) + 7) / 8 * 8;
    return start + std::min(message.size(), FIXED_HEADER + fields + Number(message, 4));
}

bool HeldConnection::ReadFromBus(int bus, int client) {
    char buffer[4096];
    const ssize_t count = recv(bus, buffer, sizeof(buffer), 0);
    if (count <= 0) {
        return false;
    }
    m_fromBus.append(buffer, static_cast<std::size_t>(count));
    const std::size_t start = m_fromBus.find(":1.");
    const std::size_t end = m_fromBus.find('\0', start);
    if (start != std::string::npos && end != std::string::npos) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_uniqueName = m_fromBus.substr(start, end - start);
        m_changed.notify_all();
    }
    WriteAll(client, buffer, static_cast<std::size_t>(count));
    return true;
}
