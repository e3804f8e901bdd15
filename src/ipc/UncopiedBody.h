// A message body over the caller's bytes, so that a large request is not copied again on its way to
// GDBus.
#ifndef APPLIST_IPC_UNCOPIEDBODY_H
#define APPLIST_IPC_UNCOPIEDBODY_H

#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include <gio/gio.h>

/**
 * A "(ay)" whose bytes are those of a vector.
 *
 * GDBus serialises a message before g_dbus_proxy_call_sync() waits, and usually has released it
 * when the reply arrives. Two cases release it later: a filter of the host keeps the message
 * (g_dbus_connection_add_filter()), or the call ends before the message is written (a time-out
 * while the bus daemon reads nothing). The destructor then moves the vector's storage to the body,
 * which frees the storage later. The vector receives a copy: the same bytes at another address.
 */
class UncopiedBody {
public:
    /** @param data must outlive this object, which alone may access it meanwhile */
    explicit UncopiedBody(std::vector<char>& data) : m_data(data) {
        auto storage = std::make_unique<Storage>();
        GVariant* array = g_variant_new_from_data(G_VARIANT_TYPE_BYTESTRING, data.data(),
                                                  data.size(), TRUE, cb_Released, storage.get());
        m_storage = storage.release();
        m_body = g_variant_ref_sink(g_variant_new_tuple(&array, 1));
    }

    ~UncopiedBody() {
        g_variant_unref(m_body);
        if (m_storage->released) {
            delete m_storage;
            return;
        }
        m_storage->bytes.swap(m_data);
        try {
            m_data = m_storage->bytes;
        } catch (const std::bad_alloc&) {
            // No memory for the copy: an empty vector is better than the end of the host.
        }
        Release(m_storage);
    }

    UncopiedBody(const UncopiedBody&) = delete;
    UncopiedBody& operator=(const UncopiedBody&) = delete;

    /** @return the body, which is not floating; valid during the lifetime of this object */
    GVariant* Get() const { return m_body; }

private:
    // Shared by this object and the body; the later one to release it frees it.
    struct Storage {
        std::atomic<bool> released{false};
        std::vector<char> bytes;
    };

    // GLib has freed the body, on any thread.
    static void cb_Released(void* storage) { Release(static_cast<Storage*>(storage)); }

    static void Release(Storage* storage) {
        if (storage->released.exchange(true)) {
            delete storage;
        }
    }

    std::vector<char>& m_data;
    Storage* m_storage = nullptr;
    GVariant* m_body = nullptr;
};

#endif
