// The position of a virtual function in the virtual table, and calls by this position alone, as in
// a program that was built against an older header (Itanium C++ ABI).
#pragma once

#include <cstddef>
#include <cstring>

namespace VirtualSlot {

/** The table index of @p method, or -1 when it is not virtual. A destructor takes two indices. */
template <class Method>
int Of(Method method) {
    struct {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } raw = {};
    static_assert(sizeof(raw) == sizeof(method), "a pointer to member function is expected");
    std::memcpy(&raw, &method, sizeof(raw));
    constexpr auto entrySize = static_cast<std::ptrdiff_t>(sizeof(void*));
#if defined(__arm__) || defined(__aarch64__)
    // Code may have odd addresses here, so the mark of a virtual function is in the adjustment.
    return (raw.adjustment & 1) != 0 ? static_cast<int>(raw.pointer / entrySize) : -1;
#else
    return (raw.pointer & 1) != 0 ? static_cast<int>((raw.pointer - 1) / entrySize) : -1;
#endif
}

/** The function at @p index of the virtual table whose address is at the start of @p object. */
template <class Function, class Object>
Function* At(const Object* object, int index) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(object), sizeof(table));
    Function* function = nullptr;
    std::memcpy(&function, &table[index], sizeof(function));
    return function;
}

} // namespace VirtualSlot
