// Byte messages as bodies on the bus.
#include <ipc/ByteArray.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "GLibLog.h"
#include "PrintedVariant.h"

namespace {

using Bytes = std::vector<char>;
using testing::IsEmpty;

TEST(ByteArray, IsAStructureOfOneArrayInTheOrderOfTheVector) {
    g_autoptr(GVariant) body =
        g_variant_ref_sink(ByteArray::ToVariant(ByteVector({0x61, 0x00, 0xff, 0x80})));
    EXPECT_STREQ(g_variant_get_type_string(body), "(ay)");
    EXPECT_EQ(Printed(body), "([byte 0x61, 0x00, 0xff, 0x80],)");
}

TEST(ByteArray, IsEmptyForAnEmptyVector) {
    g_autoptr(GVariant) body = g_variant_ref_sink(ByteArray::ToVariant({}));
    EXPECT_STREQ(g_variant_get_type_string(body), "(ay)");
    EXPECT_EQ(g_variant_get_size(body), 0u);
}

TEST(ByteArray, ReadsAnEmptyArrayAsAnEmptyVector) {
    g_autoptr(GVariant) body = g_variant_ref_sink(g_variant_new_parsed("(@ay [],)"));
    Bytes data = ByteVector("before");
    EXPECT_TRUE(ByteArray::FromVariant(body, data));
    EXPECT_THAT(data, IsEmpty());
}

TEST(ByteArray, ReadsTheBytesInTheOrderOfTheArray) {
    g_autoptr(GVariant) body =
        g_variant_ref_sink(g_variant_new_parsed("([byte 0x01, 0x00, 0xfe, 0x7f],)"));
    Bytes data = ByteVector("before");
    EXPECT_TRUE(ByteArray::FromVariant(body, data));
    EXPECT_EQ(data, ByteVector({0x01, 0x00, 0xfe, 0x7f}));
}

TEST(ByteArray, CarriesAMegabyteBothWays) {
    Bytes bytes(1024 * 1024);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(static_cast<unsigned char>(i * 31 + (i >> 8)));
    }
    g_autoptr(GVariant) body = g_variant_ref_sink(ByteArray::ToVariant(bytes));
    EXPECT_EQ(g_variant_get_size(body), bytes.size());
    Bytes back;
    EXPECT_TRUE(ByteArray::FromVariant(body, back));
    EXPECT_EQ(back, bytes);
}

// A copy, because a message may still be queued after the end of its vector.
TEST(ByteArray, KeepsItsBytesWhenTheVectorChanges) {
    Bytes bytes = ByteVector("old");
    g_autoptr(GVariant) body = g_variant_ref_sink(ByteArray::ToVariant(bytes));
    bytes.assign(3, 'x');
    EXPECT_EQ(Printed(body), "([byte 0x6f, 0x6c, 0x64],)");
}

class BodyOfAnotherType : public testing::TestWithParam<const char*> {};

TEST_P(BodyOfAnotherType, IsRefused) {
    g_autoptr(GVariant) body = g_variant_ref_sink(g_variant_new_parsed(GetParam()));
    const GLibLog glib;
    Bytes data = ByteVector("before");
    EXPECT_FALSE(ByteArray::FromVariant(body, data));
    EXPECT_THAT(data, IsEmpty());
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, BodyOfAnotherType,
                         testing::Values("()", "('text',)", "(@as [],)", "(@an [1],)",
                                         "([byte 1], [byte 2])", "(byte 1,)", "[byte 1, 2]",
                                         "(<[byte 1]>,)", "(([byte 1],),)"));

TEST(ByteArray, ReadsAMissingBodyAsAnEmptyVector) {
    Bytes data = ByteVector("before");
    EXPECT_FALSE(ByteArray::FromVariant(nullptr, data));
    EXPECT_THAT(data, IsEmpty());
}

} // namespace
