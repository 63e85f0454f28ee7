#include "codec/Utf8.h"

#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Utf8, TextIsCutBetweenCharactersOfWhichACutOrStrayOneIsOneToo) {
    const std::string characters[] = {
        "a",
        "\xC3\xA9",
        "\xE2\x82\xAC",
        "\xF0\x9F\x98\x80",
        "\xF8\x88\x80\x80\x80",
        "\xFC\x84\x80\x80\x80\x80", // as long as UTF-8 ever was
        "\x80",                     // stray continuation bytes, one by one
        "\xBF",
        "\xF0\x9F", // broken off
        "\xE2",
        "b",
        "\xE2\x82", // cut by the end
    };
    std::string text;
    for (const std::string& character : characters) {
        text += character;
    }
    const uint8_t* const bytes = reinterpret_cast<const uint8_t*>(text.data());
    size_t at = 0;
    for (const std::string& character : characters) {
        EXPECT_EQ(character.size(), Utf8CharacterLength(bytes + at, text.size() - at)) << at;
        for (size_t limit = at; limit < at + character.size(); ++limit) {
            EXPECT_EQ(at, Utf8WholeCharacters(bytes, text.size(), limit)) << limit;
        }
        at += character.size();
    }
    EXPECT_EQ(0U, Utf8CharacterLength(bytes, 0));
    EXPECT_EQ(text.size(), Utf8WholeCharacters(bytes, text.size(), text.size()));
}

} // namespace
