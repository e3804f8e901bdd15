// One input of a fuzz target: the function that libFuzzer calls, and the class that reads the bytes
// of the input as a sequence of choices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Both are libFuzzer's; Replay.cpp calls them in its place.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/** Ends the program, which is a crash for the fuzzer. */
#define FUZZ_EXPECT(condition)                                                                     \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);           \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

inline namespace applist_fuzz {

/** An input read from the front; past its end everything is 0 and empty. */
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

    bool AreLeft() const { return m_left > 0; }

    std::uint8_t Byte() {
        if (m_left == 0) {
            return 0;
        }
        --m_left;
        return *m_data++;
    }

    /** A byte with the length, then this number of bytes, or the rest. */
    std::string Text() { return Take(Byte()); }

    /** The same with a length of two bytes. */
    std::string LongText() {
        const std::size_t high = Byte();
        return Take(high << 8 | Byte());
    }

    std::string Rest() { return Take(m_left); }

private:
    std::string Take(std::size_t size) {
        if (size > m_left) {
            size = m_left;
        }
        const std::string taken(reinterpret_cast<const char*>(m_data), size);
        m_data += size;
        m_left -= size;
        return taken;
    }

    const std::uint8_t* m_data;
    std::size_t m_left;
};

inline std::vector<char> BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

} // namespace applist_fuzz
