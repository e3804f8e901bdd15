// Edits by AppListProxy, whose functions return after the reply.
#include <applist/AppListProxy.h>

#include "EditLane.h"
#include "Host.h"

namespace {

class ProxyList {
public:
    void Add(const char* id, const char* name) {
        m_item = std::make_unique<Item>(name, id);
        m_host.List().AddItemAtEnd(m_item.get());
    }
    void Modify(const char* id, const char* name) {
        auto replacement = std::make_unique<Item>(name, id);
        m_host.List().ModifyItem(m_item.get(), replacement.get());
        m_item = std::move(replacement);
    }
    void Remove(const char* /*id*/) { m_host.List().RemoveItem(m_item.get()); }

private:
    std::unique_ptr<Item> m_item;
    Host m_host;
};

} // namespace

int main() {
    ProxyList list;
    EditLane::Run(list);
}
