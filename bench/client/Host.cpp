#include "Host.h"

#include <cstdio>
#include <cstdlib>

#include "MainLoop.h"
#include "Names.h"
#include "Reference.h"

namespace {

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "client: %s\n", what);
    std::exit(1);
}

} // namespace

Host::Host()
    : m_endpoint(Names::ENDPOINT_ID),
      m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {
    m_list.AddItemChangeListener(this);
    if (m_connection == nullptr ||
        !MainLoop::IterateUntil([this] { return !m_endpoint.Partner().empty(); })) {
        Fail("no partner");
    }
}

AppListModel& Host::Model() {
    const Reference asker(m_endpoint.Partner());
    asker.RequestSignals(UniqueName(), Names::LIST_PATH, 1, 4, Records::CHANGE_EVENT);
    if (!MainLoop::IterateUntil([this] { return m_model != nullptr; })) {
        Fail("the list got no event");
    }
    return *m_model;
}
