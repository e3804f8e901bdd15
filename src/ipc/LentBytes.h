// A message body over bytes that the caller keeps, so that a large request is not copied once more
// on its way to GDBus.
#ifndef APPLIST_IPC_LENTBYTES_H
#define APPLIST_IPC_LENTBYTES_H

#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include <gio/gio.h>

/**
 * Lends the bytes of a vector to a "(ay)" for as long as this object lives.
 *
 * GDBus serialises a message before g_dbus_proxy_call_sync() waits, and has dropped it when the
 * reply is there. It has not when somebody kept the message (a filter of the host's, see
 * g_dbus_connection_add_filter()), or when the call ended before the message was written (a
 * time-out with a bus daemon that no longer reads). Then the vector's storage goes to the body,
 * which frees it with itself, and the vector gets a copy: its bytes are the same as before, its
 * data() is not.
 */
class LentBytes {
public:
    /** @param data must outlive this object, which alone may touch it meanwhile */
    explicit LentBytes(std::vector<char>& data) : m_data(data) {
        auto loan = std::make_unique<Loan>();
        GVariant* array = g_variant_new_from_data(G_VARIANT_TYPE_BYTESTRING, data.data(),
                                                  data.size(), TRUE, cb_GivenBack, loan.get());
        m_loan = loan.release();
        m_body = g_variant_ref_sink(g_variant_new_tuple(&array, 1));
    }

    ~LentBytes() {
        g_variant_unref(m_body);
        if (m_loan->givenBack) {
            delete m_loan;
            return;
        }
        m_loan->storage.swap(m_data);
        try {
            m_data = m_loan->storage;
        } catch (const std::bad_alloc&) {
            // No memory for the copy: better that the vector stays empty than that the host ends.
        }
        EndLoan(m_loan);
    }

    LentBytes(const LentBytes&) = delete;
    LentBytes& operator=(const LentBytes&) = delete;

    /** @return the body, valid while this object lives; not floating */
    GVariant* Body() const { return m_body; }

private:
    struct Loan {
        std::atomic<bool> givenBack{false};
        std::vector<char> storage;
    };

    // GLib has freed the body; which thread does it is not said.
    static void cb_GivenBack(void* loan) { EndLoan(static_cast<Loan*>(loan)); }

    // Called twice when the body outlives the loan: the second call frees the storage.
    static void EndLoan(Loan* loan) {
        if (loan->givenBack.exchange(true)) {
            delete loan;
        }
    }

    std::vector<char>& m_data;
    Loan* m_loan = nullptr;
    GVariant* m_body = nullptr;
};

#endif
