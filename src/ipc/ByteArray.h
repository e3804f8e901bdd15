// Byte messages on the bus: a std::vector<char> is the body "(ay)", one element per byte, in the
// order of the vector. Sender, receiver and tools all convert here.
#ifndef APPLIST_IPC_BYTEARRAY_H
#define APPLIST_IPC_BYTEARRAY_H

#include <vector>

#include <gio/gio.h>

namespace ByteArray {

/**
 * @return a floating "(ay)" with a copy of @p data; the GDBus call that it is given to takes it
 * over. On the bus (D-Bus protocol, marshalling of arrays): the length in bytes, 32 bits in the
 *         message's byte order, then the bytes; 64 MiB at most.
 */
inline GVariant* ToVariant(const std::vector<char>& data) {
    GVariant* array = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data.data(), data.size(), 1);
    return g_variant_new_tuple(&array, 1);
}

/**
 * Copies the bytes of @p body, which is borrowed, into @p data.
 * @return false, with @p data empty, when @p body is anything but "(ay)": a peer's signals and
 *         replies are type-checked by nobody before they get here.
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
