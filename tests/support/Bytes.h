// Byte messages written down in tests, and the bodies that carry them.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include <gio/gio.h>

inline namespace applist_test {

/** ByteVector({0x61, 0xff}): the values are 0 to 255. */
inline std::vector<char> ByteVector(std::initializer_list<int> values) {
    std::vector<char> bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(value)));
    }
    return bytes;
}

inline std::vector<char> ByteVector(const std::string& text) {
    return {text.begin(), text.end()};
}

/** A floating "(ay)" with these bytes, of any size. */
template <class Bytes>
GVariant* ByteBody(const Bytes& bytes) {
    return g_variant_new(
        "(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}

inline GVariant* ByteBody(const char* text) {
    return ByteBody(std::string(text));
}

/** The bytes of an "(ay)". */
template <class Bytes>
Bytes BytesOfBody(GVariant* body) {
    g_autoptr(GVariant) array = g_variant_get_child_value(body, 0);
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_variant_get_fixed_array(array, &size, 1));
    return Bytes(bytes, bytes + size);
}

} // namespace applist_test
