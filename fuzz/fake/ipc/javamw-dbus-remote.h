// A channel without a bus, in the place of the real header: the model of the library is compiled
// against it unchanged. The fuzz target sets the replies of the partner.
#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

class JavaMWDbusRemote {
public:
    /** The one channel that lives, which belongs to the target's model. */
    static JavaMWDbusRemote*& Current() {
        static JavaMWDbusRemote* current = nullptr;
        return current;
    }

    virtual ~JavaMWDbusRemote() { Current() = nullptr; }
    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;
    virtual void HandleNotification(std::vector<char>& data) = 0;
    virtual void HandleConnectionReady(bool ready, const std::string& partner) = 0;

    std::vector<char> SendMessage(std::vector<char>& data) {
        requests.emplace_back(data.begin(), data.end());
        return reply;
    }

    std::vector<std::string> requests; ///< the requests to the partner
    std::vector<char> reply;           ///< the partner's reply to each of them

protected:
    struct HandlersLater {};
    JavaMWDbusRemote(const std::string& /*id*/, HandlersLater) { Current() = this; }
    void StartHandlers() {}
    void StopHandlers() {}
};
