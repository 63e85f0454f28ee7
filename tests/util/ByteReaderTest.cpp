#include "util/ByteReader.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr uint8_t WIRE[] = {0x81, 0x02, 0x83, 0x04};

struct Number {
    size_t size;
    uint32_t value; // of WIRE's first bytes
    uint32_t (*read)(ByteReader&);
    void (*write)(ByteWriter&, uint32_t);
};
const Number NUMBERS[] = {
    {1, 0x81, [](ByteReader& r) -> uint32_t { return r.U8(); }, [](ByteWriter& w, uint32_t value) { w.U8(value); }},
    {2, 0x8102, [](ByteReader& r) -> uint32_t { return r.U16(); }, [](ByteWriter& w, uint32_t value) { w.U16(value); }},
    {3, 0x810283, [](ByteReader& r) { return r.U24(); }, [](ByteWriter& w, uint32_t value) { w.U24(value); }},
    {4, 0x81028304, [](ByteReader& r) { return r.U32(); }, [](ByteWriter& w, uint32_t value) { w.U32(value); }},
};

} // namespace

TEST(ByteReader, ReadsBigEndianToTheLastByteAndNothingAfterAStepTooFar) {
    for (const Number& number : NUMBERS) {
        ByteReader enough(WIRE, number.size);
        EXPECT_EQ(number.value, number.read(enough));
        EXPECT_TRUE(enough.Skip(0) && enough.Left() == 0);
        ByteReader tooFew(WIRE, number.size - 1);
        EXPECT_EQ(0U, number.read(tooFew));
        EXPECT_FALSE(tooFew.Ok() || tooFew.Skip(0));
        EXPECT_EQ(number.size - 1, tooFew.Left()) << "a failed step took bytes";
        EXPECT_EQ(0U, tooFew.U8()) << "a step after a failed one read";
    }
    for (const size_t skipped : {size_t(5), SIZE_MAX}) { // position + length would wrap
        ByteReader reader(WIRE, 4);
        EXPECT_FALSE(reader.Skip(skipped));
        EXPECT_EQ(0U, reader.U8());
    }
    EXPECT_EQ(0U, ByteReader(nullptr, 4).U32());
}

TEST(ByteWriter, WritesBigEndianToTheLastByteAndNothingAfterAStepTooFar) {
    for (const Number& number : NUMBERS) {
        for (const size_t room : {number.size, number.size - 1}) {
            std::vector<uint8_t> buffer(8, 0xEE);
            std::vector<uint8_t> expected = buffer;
            ByteWriter writer(buffer.data() + 1, room + 1);
            writer.Bytes(&WIRE[3], 1);
            number.write(writer, number.value);
            writer.Bytes(WIRE, 0);
            writer.Bytes(WIRE, SIZE_MAX);
            writer.U8(0);
            expected[1] = WIRE[3];
            std::copy_n(WIRE, room == number.size ? room : 0, expected.begin() + 2);
            EXPECT_EQ(expected, buffer) << number.size << " bytes into " << room;
            EXPECT_EQ(room == number.size ? room + 1 : 1, writer.Written());
            EXPECT_FALSE(writer.Ok());
        }
    }
}
