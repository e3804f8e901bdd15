// Item records and message ids, read and written without the library, so that tests find its errors
// instead of repeating them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Records {

struct Record {
    std::string name;
    std::string id;

    bool operator==(const Record& other) const { return name == other.name && id == other.id; }
};

enum Request : int {
    SET_SELECTION = 2000,
    GET_SELECTION = 2001,
    REMOVE_ALL_ITEMS = 2003,
    ADD_ITEMS = 2004,
    ADD_ITEM_AT_END = 2005,
    SET_CLICKED = 2006,
    REMOVE_ITEM = 2007,
    MODIFY_ITEM = 2008
};

enum Event : int { CHANGE_EVENT = 1, SELECTION_EVENT = 2, CLICKED_EVENT = 3, CREATED_EVENT = 4 };
constexpr Event EVENTS[] = {CHANGE_EVENT, SELECTION_EVENT, CLICKED_EVENT, CREATED_EVENT};

inline std::string Write(const Record& record) {
    return record.name + '\n' + record.id + '\n';
}

/** The complete records in @p stream: each is two lines, and a line ends with a line feed. */
inline std::vector<Record> Read(const std::string& stream) {
    std::vector<Record> records;
    std::size_t start = 0;
    for (;;) {
        const std::size_t nameEnd = stream.find('\n', start);
        if (nameEnd == std::string::npos) {
            return records;
        }
        const std::size_t idEnd = stream.find('\n', nameEnd + 1);
        if (idEnd == std::string::npos) {
            return records;
        }
        records.push_back({stream.substr(start, nameEnd - start),
                           stream.substr(nameEnd + 1, idEnd - nameEnd - 1)});
        start = idEnd + 1;
    }
}

/** @p payload, followed by the four bytes of @p id, the least significant one first. */
inline std::string Frame(const std::string& payload, int id) {
    std::string message = payload;
    auto rest = static_cast<std::uint32_t>(id);
    for (int i = 0; i < 4; ++i) {
        message += static_cast<char>(static_cast<unsigned char>(rest & 255));
        rest /= 256;
    }
    return message;
}

/** The id at the end of a message of at least four bytes. */
inline int IdOf(const std::string& message) {
    std::uint32_t id = 0;
    for (std::size_t i = 1; i <= 4; ++i) {
        id = id * 256 + static_cast<unsigned char>(message[message.size() - i]);
    }
    return static_cast<int>(id);
}

} // namespace Records
