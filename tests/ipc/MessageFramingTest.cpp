// The message id behind the payload, byte by byte.
#include <ipc/MessageFraming.h>

#include <limits>

#include <gtest/gtest.h>

#include "Bytes.h"

namespace {

using Bytes = std::vector<char>;

struct Framed {
    std::int32_t id;
    Bytes bytes;
};

std::ostream& operator<<(std::ostream& os, const Framed& row) {
    return os << row.id;
}

class FramedId : public testing::TestWithParam<Framed> {};

TEST_P(FramedId, IsWrittenLeastSignificantByteFirst) {
    Bytes message;
    MessageFraming::AppendId(message, GetParam().id);
    EXPECT_EQ(message, GetParam().bytes);
}

TEST_P(FramedId, IsReadLeastSignificantByteFirst) {
    Bytes message = GetParam().bytes;
    std::int32_t id = 0;
    ASSERT_TRUE(MessageFraming::RemoveId(message, id));
    EXPECT_EQ(id, GetParam().id);
    EXPECT_TRUE(message.empty());
}

INSTANTIATE_TEST_SUITE_P(
    All, FramedId,
    testing::Values(
        Framed{0, ByteVector({0, 0, 0, 0})}, Framed{1, ByteVector({1, 0, 0, 0})},
        Framed{2, ByteVector({2, 0, 0, 0})}, Framed{127, ByteVector({0x7f, 0, 0, 0})},
        Framed{128, ByteVector({0x80, 0, 0, 0})}, Framed{255, ByteVector({0xff, 0, 0, 0})},
        Framed{256, ByteVector({0, 1, 0, 0})}, Framed{2000, ByteVector({0xd0, 0x07, 0, 0})},
        Framed{2005, ByteVector({0xd5, 0x07, 0, 0})}, Framed{2008, ByteVector({0xd8, 0x07, 0, 0})},
        Framed{0x01020304, ByteVector({4, 3, 2, 1})},
        Framed{std::numeric_limits<std::int32_t>::max(), ByteVector({0xff, 0xff, 0xff, 0x7f})},
        Framed{-1, ByteVector({0xff, 0xff, 0xff, 0xff})},
        Framed{-2, ByteVector({0xfe, 0xff, 0xff, 0xff})},
        Framed{-256, ByteVector({0x00, 0xff, 0xff, 0xff})},
        Framed{std::numeric_limits<std::int32_t>::min(), ByteVector({0, 0, 0, 0x80})}));

// Each bit of the id has its place, for each byte order of the machine.
TEST(MessageFrame, KeepsEachBitOfTheId) {
    for (unsigned bit = 0; bit < 32; ++bit) {
        Bytes expected(4, '\0');
        expected[bit / 8] = static_cast<char>(static_cast<unsigned char>(1u << (bit % 8)));
        const auto id = static_cast<std::int32_t>(1u << bit);
        Bytes message;
        MessageFraming::AppendId(message, id);
        EXPECT_EQ(message, expected) << bit;
        std::int32_t back = 0;
        EXPECT_TRUE(MessageFraming::RemoveId(message, back));
        EXPECT_EQ(back, id) << bit;
    }
}

TEST(MessageFrame, HasTheIdAfterThePayload) {
    Bytes message = ByteVector("ab");
    MessageFraming::AppendId(message, 2);
    EXPECT_EQ(message, ByteVector({0x61, 0x62, 0x02, 0x00, 0x00, 0x00}));
}

TEST(MessageFrame, IsThePayloadAfterTheRemovalOfTheId) {
    Bytes message = ByteVector({0x61, 0x62, 0x02, 0x00, 0x00, 0x00});
    std::int32_t id = 0;
    EXPECT_TRUE(MessageFraming::RemoveId(message, id));
    EXPECT_EQ(id, 2);
    EXPECT_EQ(message, ByteVector({0x61, 0x62}));
}

TEST(MessageFrame, NeedsFourBytes) {
    for (const Bytes& tooShort :
         {ByteVector({}), ByteVector({1}), ByteVector({1, 0}), ByteVector({1, 0, 0})}) {
        Bytes message = tooShort;
        std::int32_t id = 77;
        EXPECT_FALSE(MessageFraming::RemoveId(message, id));
        EXPECT_EQ(message, tooShort);
        EXPECT_EQ(id, 77);
    }
}

} // namespace
