// Conversion of byte messages: a std::vector<char> is the D-Bus body "(ay)", with one array element
// per byte, in the order of the vector.
#ifndef APPLIST_IPC_BYTEARRAY_H
#define APPLIST_IPC_BYTEARRAY_H

#include <vector>

#include <gio/gio.h>

namespace ByteArray {

/**
 * @return a floating "(ay)" with a copy of @p data, which a GDBus call takes over. On the bus, the
 *         body is the length in bytes, as 32 bits in the message's byte order, and then at most
 *         64 MiB of bytes (D-Bus protocol, marshalling of arrays).
 */
inline GVariant* ToVariant(const std::vector<char>& data) {
    GVariant* array = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data.data(), data.size(), 1);
    return g_variant_new_tuple(&array, 1);
}

/**
 * Copies the bytes of @p body, which is borrowed, into @p data.
 * @return false, with @p data empty, when @p body is not "(ay)". GDBus does not check the types of
 *         a peer's signals and replies.
 */
inline bool FromVariant(GVariant* body, std::vector<char>& data) {
    data.clear();
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(ay)"))) {
        return false;
    }
    g_autoptr(GVariant) array = g_variant_get_child_value(body, 0);
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_variant_get_fixed_array(array, &size, 1));
    data.assign(bytes, bytes + size);
    return true;
}

} // namespace ByteArray

#endif
