#include "Host.h"

#include <cstdio>
#include <cstdlib>

#include "Names.h"
#include "Reference.h"

namespace {

constexpr int ITEM_CHANGE_EVENT = 1;

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "client: %s\n", what);
    std::exit(1);
}

} // namespace

bool Host::IterateUntil(const std::function<bool()>& happened) {
    bool late = false;
    const unsigned timer = g_timeout_add_seconds(
        10,
        [](void* flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &late);
    while (!late && !happened()) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(timer);
    return happened();
}

Host::Host()
    : m_endpoint(Names::ENDPOINT_ID),
      m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {
    m_list.AddItemChangeListener(this);
    if (m_connection == nullptr ||
        !IterateUntil([this] { return !m_endpoint.Partner().empty(); })) {
        Fail("no partner");
    }
}

AppListModel& Host::Model() {
    const Reference asker(m_endpoint.Partner());
    asker.AskToEmit(UniqueName(), Names::LIST_PATH, 1, 4, ITEM_CHANGE_EVENT);
    if (!IterateUntil([this] { return m_model != nullptr; })) {
        Fail("the list got no event");
    }
    return *m_model;
}

std::vector<char> applist_bench::Framed(const std::string& payload, int id) {
    std::vector<char> message(payload.begin(), payload.end());
    for (int shift = 0; shift < 32; shift += 8) {
        message.push_back(static_cast<char>(id >> shift));
    }
    return message;
}
