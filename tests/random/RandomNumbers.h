// All random choices of a run, from one seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

inline namespace applist_test {

class RandomNumbers {
public:
    explicit RandomNumbers(std::uint64_t seed) : m_numbers(seed) {}

    /** 0 to @p count - 1; the same on every platform. */
    std::size_t Pick(std::size_t count) { return static_cast<std::size_t>(m_numbers() % count); }

    bool Chance(unsigned percent) { return Pick(100) < percent; }

    /** Any bytes; line feeds only @p withLineFeeds. */
    std::string Bytes(std::size_t maximum, bool withLineFeeds) {
        std::string bytes;
        for (std::size_t left = Pick(maximum + 1); left > 0; --left) {
            bytes += withLineFeeds && Chance(20) ? '\n' : ByteButLineFeed();
        }
        return bytes;
    }

private:
    char ByteButLineFeed() {
        const auto value = static_cast<unsigned char>(Pick(255));
        return static_cast<char>(value < '\n' ? value : value + 1);
    }

    std::mt19937_64 m_numbers;
};

} // namespace applist_test
