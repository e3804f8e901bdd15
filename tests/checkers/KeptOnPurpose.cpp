// Keeps deliberately leaked memory of the library reachable for leak checkers: the reply to each
// answered request, and the unread error of each failed release of a name. Every other leak is
// reported.
//
// GDBus allocates the replies in its own thread, without a function of the library on the stack. A
// suppression by stack would name GDBus and hide every leaked message. This library is therefore
// loaded before GIO, and records the results of the two calls in exactly those two functions.
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include <dlfcn.h>
#include <execinfo.h>
#include <gio/gio.h>

namespace {

constexpr const char* SEND_MESSAGE = "_ZN16JavaMWDbusRemote11SendMessageERSt6vectorIcSaIcEE";
constexpr const char* BROADCAST_NAME = "_ZN16JavaMWDbusRemote13BroadcastNameERNSt7__cxx11";

/** The kept pointers of the library, in blocks that are never freed and that checkers can follow.
 */
class Kept {
public:
    void Add(void* pointer) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_last == nullptr || m_last->used == m_last->pointers.size()) {
            auto* const block = static_cast<Block*>(std::calloc(1, sizeof(Block)));
            block->before = m_last;
            m_last = block;
        }
        m_last->pointers[m_last->used++] = pointer;
    }

private:
    struct Block {
        Block* before;
        std::size_t used;
        std::array<void*, 510> pointers;
    };
    std::mutex m_mutex;
    Block* m_last = nullptr;
};

Kept g_kept;

// Our two functions call GDBus directly or through one helper.
bool IsCalledBy(const char* function) {
    void* frames[6];
    const int count = backtrace(frames, 6);
    for (int i = 2; i < count; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) != 0 && info.dli_sname != nullptr &&
            std::strncmp(info.dli_sname, function, std::strlen(function)) == 0) {
            return true;
        }
    }
    return false;
}

template <class Function>
Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" __attribute__((visibility("default"))) GVariant*
g_dbus_proxy_call_sync(GDBusProxy* proxy, const gchar* method, GVariant* parameters,
                       GDBusCallFlags flags, gint timeout, GCancellable* cancellable,
                       GError** error) {
    static const auto next = Next<decltype(&g_dbus_proxy_call_sync)>(__func__);
    GVariant* const reply = next(proxy, method, parameters, flags, timeout, cancellable, error);
    if (reply != nullptr && IsCalledBy(SEND_MESSAGE)) {
        g_kept.Add(reply);
    }
    return reply;
}

extern "C" __attribute__((visibility("default"))) GVariant*
g_dbus_connection_call_sync(GDBusConnection* connection, const gchar* name, const gchar* path,
                            const gchar* interface, const gchar* method, GVariant* parameters,
                            const GVariantType* type, GDBusCallFlags flags, gint timeout,
                            GCancellable* cancellable, GError** error) {
    static const auto next = Next<decltype(&g_dbus_connection_call_sync)>(__func__);
    GVariant* const reply = next(connection, name, path, interface, method, parameters, type, flags,
                                 timeout, cancellable, error);
    if (error != nullptr && *error != nullptr && std::strcmp(method, "ReleaseName") == 0 &&
        IsCalledBy(BROADCAST_NAME)) {
        g_kept.Add(*error);
    }
    return reply;
}
