#include "call/TypingScript.h"
#include "common/Endpoint.h"
#include "common/TextForms.h"
#include "verdict/Verdict.h"

#include <gtest/gtest.h>
#include <sstream>

TEST(Verdict, AcceptsWhatWasTypedAndMarkedLossesAtTheirPlaceAndNothingElse) {
    struct Case {
        const char* claim;
        std::vector<std::string> shown;
        std::vector<uint32_t> marks;
        std::vector<LinkLoss> lost;
        bool isRight;
    };
    const Case cases[] = {
        {"all shown", {"abcabc"}, {}, {}, true},
        {"one missing, no mark", {"abcab"}, {}, {}, false},
        {"one too many", {"abcabcc"}, {}, {}, false},
        {"one changed", {"abcabd"}, {}, {}, false},
        {"missing without a mark though the link lost it", {"abc"}, {}, {{1, "abc"}}, false},
        {"missing where the mark stands", {"ab", "bc"}, {1}, {{1, "ca"}}, true},
        {"the mark stands elsewhere", {"abb", "c"}, {1}, {{1, "ca"}}, false},
        {"a mark of another count", {"ab", "bc"}, {2}, {{1, "ca"}}, false},
        {"a mark for packets without text", {"abc", "abc"}, {2}, {{2, ""}}, true},
        {"a mark and nothing lost", {"abc", "abc"}, {2}, {}, false},
        {"two marks", {"a", "c", "bc"}, {1, 3}, {{1, "b"}, {3, "a"}}, true},
        {"two marks exchanged", {"a", "c", "bc"}, {3, 1}, {{1, "b"}, {3, "a"}}, false},
    };
    for (const Case& each : cases) {
        PartyResult reader;
        reader.shown = each.shown;
        reader.losses = each.marks;
        EXPECT_EQ(FindDifference("abcabc", reader, each.lost).empty(), each.isRight) << each.claim;
    }
}

TEST(Results, DamagedFilesAreRefused) {
    PartyResult party;
    for (const char* text : {"", "typed a\n", "shown a\nloss 1\n", "shown \\q\n", "shown a\nloss x\n", "said a\n"}) {
        std::istringstream input(text);
        EXPECT_FALSE(ReadPartyResult(input, party)) << text;
    }
    LinkResult left, right;
    std::istringstream oneWay("left-right rtp-relayed 4\n");
    EXPECT_FALSE(ReadLinkResults(oneWay, left, right));
}

TEST(TextForms, EveryTextSurvivesTheWayThroughAFile) {
    std::string all = "\r\n\xE2\x80\xA8 日本\\n🗾 \\";
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    const std::string line = Escape(all);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    std::string back;
    ASSERT_TRUE(Unescape(line, back));
    EXPECT_EQ(back, all);
    for (const char* broken : {"\\", "\\q", "\\x", "\\x4", "\\xG0"}) {
        EXPECT_FALSE(Unescape(broken, back)) << broken;
    }
}

TEST(TextForms, NothingShownMovesTheCursor) {
    EXPECT_EQ(VisibleText("a\bb\r\nc\x1B[2J\xC2\x9B\x9B\xE2\x80\xA8\xEF\xBB\xBF"), "a⌫b↵c·[2J··↵");
    EXPECT_EQ(VisibleText("\xC1\x9B\xE0\x82\x9B\xF0\x80\x82\x9B\u0800"), "···\u0800") << "overlong controls";
}

TEST(TextForms, ACharacterIsNeverCut) {
    const std::string text = "aé日🗾";
    EXPECT_EQ(CountCharacters(text), 4U);
    const size_t whole[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10};
    for (size_t length = 0; length <= text.size(); ++length) {
        EXPECT_EQ(WholeCharacters(text.substr(0, length)), whole[length]) << length;
    }
}

TEST(TypingScript, CharactersComeAtTheRateAndPhrasesNotBeforeTheirTime) {
    std::istringstream input("# remark\nrate 10\nat 1 ab\\n\nrate 20\nat 1.2  é\nat 9 c\nhangup 12.5\n");
    TypingScript script;
    ASSERT_EQ(script.Read(input), "");
    const struct {
        int64_t atMs;
        const char* text;
        bool endsPhrase;
    } expected[] = {{1000, "a", false}, {1100, "b", false}, {1200, "\r\n", true},
                    {1400, " ", false}, {1450, "é", true},  {9000, "c", true}};
    ASSERT_EQ(script.Keystrokes().size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(script.Keystrokes()[i].atMs, expected[i].atMs) << i;
        EXPECT_EQ(script.Keystrokes()[i].text, expected[i].text) << i;
        EXPECT_EQ(script.Keystrokes()[i].endsPhrase, expected[i].endsPhrase) << i;
    }
    EXPECT_EQ(script.HangupMs(), 12500);
    for (const char* wrong :
         {"at x hello", "at 1 ", "at -1 a", "rate 1e-300", "rate", "hangup", "say 1 a", "at 1 \\q"}) {
        std::istringstream line(wrong);
        EXPECT_NE(TypingScript().Read(line), "") << wrong;
    }
}

TEST(Endpoint, NumericAddressesWithAPortBelowTheLast) {
    Endpoint endpoint;
    for (const char* right : {"127.0.0.1:5004", "[::1]:5004", "0.0.0.0:65534"}) {
        ASSERT_TRUE(Endpoint::Parse(right, endpoint)) << right;
        EXPECT_EQ(endpoint.ToString(), right);
    }
    for (const char* wrong : {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65535", "127.0.0.1:-1", "host:1",
                              "::1:5004", "[127.0.0.1]:5004", "[::1:5004", "127.0.0.1:5004x", "127.0.0.1:4294972300"}) {
        EXPECT_FALSE(Endpoint::Parse(wrong, endpoint)) << wrong;
    }
}
