#include "util/ByteReader.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr uint8_t WIRE[] = {0x81, 0x02, 0x83, 0x04};

// The number in WIRE's first bytes, for each size.
const struct {
    size_t size;
    uint32_t value;
    uint32_t (*read)(ByteReader&);
    void (*write)(ByteWriter&, uint32_t);
} NUMBERS[] = {
    {1, 0x81, [](ByteReader& r) -> uint32_t { return r.U8(); }, [](ByteWriter& w, uint32_t value) { w.U8(value); }},
    {2, 0x8102, [](ByteReader& r) -> uint32_t { return r.U16(); }, [](ByteWriter& w, uint32_t value) { w.U16(value); }},
    {3, 0x810283, [](ByteReader& r) { return r.U24(); }, [](ByteWriter& w, uint32_t value) { w.U24(value); }},
    {4, 0x81028304, [](ByteReader& r) { return r.U32(); }, [](ByteWriter& w, uint32_t value) { w.U32(value); }},
};

} // namespace

TEST(ByteReader, ReadsBigEndianToTheLastByteAndNothingAfterAStepTooFar) {
    for (const auto& number : NUMBERS) {
        ByteReader enough(WIRE, number.size);
        EXPECT_EQ(number.value, number.read(enough));
        EXPECT_TRUE(enough.Skip(0) && enough.Left() == 0);
        ByteReader tooFew(WIRE, number.size - 1);
        EXPECT_EQ(0U, number.read(tooFew));
        EXPECT_EQ(number.size - 1, tooFew.Left()) << "a failed step took bytes";
        EXPECT_TRUE(tooFew.U8() == 0 && !tooFew.Skip(0)) << "a step after a failed one read";
    }
    EXPECT_FALSE(ByteReader(WIRE, 4).Skip(SIZE_MAX)) << "position + length wrapped";
    EXPECT_EQ(0U, ByteReader(nullptr, 4).U32());
}

TEST(ByteWriter, WritesBigEndianToTheLastByteAndNothingAfterAStepTooFar) {
    for (const auto& number : NUMBERS) {
        for (const size_t written : {number.size, size_t(0)}) {
            std::vector<uint8_t> buffer(8, 0xEE);
            std::vector<uint8_t> expected = buffer;
            std::copy_n(WIRE, written, expected.begin());
            ByteWriter writer(buffer.data(), written == 0 ? number.size - 1 : number.size);
            number.write(writer, number.value);
            writer.U8(0);
            writer.Bytes(WIRE, SIZE_MAX);
            EXPECT_EQ(expected, buffer) << number.size;
            EXPECT_EQ(written, writer.Written());
        }
    }
}
