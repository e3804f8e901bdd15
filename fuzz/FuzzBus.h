// One bus for a whole fuzz process, and handlers of an endpoint that record their arguments. The
// bus is a double without faults, because the start of a daemon for each input is too slow.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <ipc/javamw-dbus-remote.h>

#include "BusDouble.h"
#include "SharedBus.h"

inline namespace applist_fuzz {

struct FuzzBus {
    FuzzBus() { shared.DisableExitOnClose(); }

    BusDouble bus;
    SharedBus shared;
};

class FuzzEndpoint : public JavaMWDbusRemote {
public:
    static constexpr const char* OBJECT_PATH = "/org/morva/javamw/CommunicationChannel/Applist";
    static constexpr char THROWS = '\x7f'; ///< as the first byte

    FuzzEndpoint() : JavaMWDbusRemote("Applist") {}

    std::vector<char> HandleMessage(std::vector<char>& data) override {
        messages.push_back(data);
        ThrowFor(data);
        return {data.rbegin(), data.rend()};
    }
    void HandleNotification(std::vector<char>& data) override {
        notifications.push_back(data);
        ThrowFor(data);
    }
    void HandleConnectionReady(bool ready, const std::string& partner) override {
        states.push_back((ready ? "ready " : "lost ") + partner);
    }

    void Forget() {
        messages.clear();
        notifications.clear();
        states.clear();
    }

    std::vector<std::vector<char>> messages;
    std::vector<std::vector<char>> notifications;
    std::vector<std::string> states;

private:
    static void ThrowFor(const std::vector<char>& data) {
        if (!data.empty() && data.front() == THROWS) {
            throw std::runtime_error("as asked");
        }
    }
};

} // namespace applist_fuzz
