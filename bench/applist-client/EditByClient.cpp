// Edits by AppListClient, whose completions end each edit.
#include <cstdlib>
#include <memory>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>
#include <poll.h>

#include "EditLane.h"

namespace {

class ClientList {
public:
    ClientList() {
        AppListClient::Events events;
        events.connected = [this] { m_isDone = true; };
        m_client = std::make_unique<AppListClient>(m_executor.GetExecutor(), events);
        WaitUntilDone();
    }

    void Add(const char* id, const char* name) {
        m_client->AddItemAtEnd({id, name}, Done());
        WaitUntilDone();
    }
    void Modify(const char* id, const char* name) {
        m_client->ModifyItem(id, {id, name}, Done());
        WaitUntilDone();
    }
    void Remove(const char* id) {
        m_client->RemoveItem(id, Done());
        WaitUntilDone();
    }

private:
    AppListClient::Completion Done() {
        return [this](AppListClient::Outcome outcome, const std::string& reason) {
            if (outcome != AppListClient::ANSWERED) {
                std::fprintf(stderr, "edits: %s\n", reason.c_str());
                std::exit(1);
            }
            m_isDone = true;
        };
    }

    void WaitUntilDone() {
        while (!m_isDone) {
            pollfd descriptor{m_executor.GetDescriptor(), POLLIN, 0};
            poll(&descriptor, 1, -1);
            m_executor.Dispatch();
        }
        m_isDone = false;
    }

    bool m_isDone = false;
    DescriptorExecutor m_executor;
    std::unique_ptr<AppListClient> m_client;
};

} // namespace

int main() {
    ClientList list;
    EditLane::Run(list);
}
