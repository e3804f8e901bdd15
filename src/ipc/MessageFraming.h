// The frame of every message and notification: the payload, then the message id as a signed 32-bit
// integer, least significant byte first: 2004 is D4 07 00 00. Replies are bare payloads and carry
// no id.
#ifndef APPLIST_IPC_MESSAGEFRAMING_H
#define APPLIST_IPC_MESSAGEFRAMING_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace MessageFraming {

constexpr std::size_t ID_SIZE = 4;

/** Appends the four bytes of @p id to @p message. */
inline void AppendId(std::vector<char>& message, std::int32_t id) {
    // Shifts write the same bytes on a big-endian machine.
    const auto bits = static_cast<std::uint32_t>(id);
    for (unsigned shift = 0; shift < 32; shift += 8) {
        message.push_back(static_cast<char>(static_cast<unsigned char>(bits >> shift)));
    }
}

/**
 * Removes the trailing id from @p message, which then holds the payload alone.
 * @return false, with @p message unchanged, when it is too short for an id
 */
inline bool RemoveId(std::vector<char>& message, std::int32_t& id) {
    if (message.size() < ID_SIZE) {
        return false;
    }
    const std::size_t payloadSize = message.size() - ID_SIZE;
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < ID_SIZE; ++i) {
        const auto byte = static_cast<unsigned char>(message[payloadSize + i]);
        bits |= static_cast<std::uint32_t>(byte) << (8 * i);
    }
    id = static_cast<std::int32_t>(bits);
    message.resize(payloadSize);
    return true;
}

} // namespace MessageFraming

#endif
