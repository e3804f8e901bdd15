// Writes and reads item streams: consecutive item records without a count and without separators.
// The stream operators of RemoteAppListItem define a record.
#ifndef APPLIST_APPLIST_ITEMRECORDS_H
#define APPLIST_APPLIST_ITEMRECORDS_H

#include <cstddef>
#include <istream>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include <applist/RemoteAppListItem.h>

namespace ItemRecords {

/** A stream buffer that appends to a string, without the copies of a string stream. */
class StringBuffer : public std::streambuf {
public:
    explicit StringBuffer(std::string& target) : m_target(target) {}

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        const auto size = static_cast<std::size_t>(count);
        if (m_target.capacity() - m_target.size() < size) {
            // Includes space for the short fields that follow a long one.
            m_target.reserve(m_target.size() + size + m_target.size() / 2 + 64);
        }
        m_target.append(bytes, size);
        return count;
    }

    int_type overflow(int_type byte) override {
        if (!traits_type::eq_int_type(byte, traits_type::eof())) {
            m_target.push_back(traits_type::to_char_type(byte));
        }
        return traits_type::not_eof(byte);
    }

private:
    std::string& m_target;
};

/** Reads bytes where they are, without the copies of a string stream. */
class BytesBuffer : public std::streambuf {
public:
    /** @param bytes must outlive the buffer and stay as they are */
    explicit BytesBuffer(const std::vector<char>& bytes) {
        // The base class requires writable bytes, but never writes to them without an override.
        char* const begin = const_cast<char*>(bytes.data());
        setg(begin, begin, begin + bytes.size());
    }
};

/** Appends the record of @p item to @p records. */
inline void Append(std::string& records, const RemoteAppListItem& item) {
    StringBuffer buffer(records);
    std::ostream stream(&buffer);
    // Lack of memory is an exception here: half a record would shift all following fields.
    stream.exceptions(std::ios::badbit);
    stream << item;
}

/**
 * Reads the next complete record into @p item.
 * @return false when there is none. Deliberate: an id that ends with the data instead of a line
 *         feed is no record, although both fields were read. Every written record ends with a line
 *         feed, and a truncated message must not name an item.
 */
inline bool ReadNext(std::istream& stream, RemoteAppListItem& item) {
    stream >> item;
    return stream.good();
}

} // namespace ItemRecords

#endif
