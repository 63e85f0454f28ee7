#include "codec/Utf8.h"

#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Utf8, ACharacterIsItsLeadByteWithTheContinuationBytesThatAreThere) {
    const std::pair<std::string, size_t> cases[] = {
        {"", 0},
        {"\xC3\xA9x", 2},
        {"\xFC\x84\x80\x80\x80\x80\x80", 6}, // as long as UTF-8 ever was
        {"\xBF\x80\x80", 1},                 // stray continuation bytes, one by one
        {"\xE2\x82", 2},                     // cut by the end
        {"\xF0\x9F\xC3\xA9", 2},             // broken off
    };
    for (const auto& [text, length] : cases) {
        EXPECT_EQ(length, Utf8CharacterLength(reinterpret_cast<const uint8_t*>(text.data()), text.size())) << text;
    }
}

} // namespace
