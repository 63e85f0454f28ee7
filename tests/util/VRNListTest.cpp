#include "util/VRNList.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

using Lines = std::vector<std::string>;
using Element = const char*;
constexpr int NONE = -1;

// A list of one-letter elements.
struct Letters {
    explicit Letters(const std::string& letters = "") {
        for (const char letter : letters) {
            Add(letter, NONE, VRN_LIST_NODE);
        }
    }
    ~Letters() {
        while (m_List.HeadNode() != nullptr) {
            m_List.DeleteNode(nullptr, VRN_LIST_HEAD);
        }
    }
    int Add(char letter, int ref, int pos) {
        Element element = ALPHABET + (letter - 'a');
        return m_List.AddNode(element, At(ref), pos);
    }
    int Delete(int node, int pos) { return m_List.DeleteNode(At(node), pos); }
    std::string Read(int node, int pos) {
        const Element element = m_List.ReadNodeData(At(node), pos);
        return element == nullptr ? "null" : std::string(1, *element);
    }
    Node<Element>* At(int index) {
        Node<Element>* node = index == NONE ? nullptr : m_List.HeadNode();
        for (; index > 0; --index) {
            node = node->m_pNext;
        }
        return node;
    }
    // The letters from head to tail, if they are the same from tail to head.
    std::string Chain() {
        std::string forth, back;
        for (auto node = m_List.HeadNode(); node != nullptr; node = node->m_pNext) {
            forth += *node->m_Data;
        }
        for (auto node = m_List.TailNode(); node != nullptr; node = node->m_pPrev) {
            back.insert(0, node->m_Data, 1);
        }
        return forth == back ? forth : forth + " is " + back + " backwards";
    }

    static constexpr const char* ALPHABET = "abcdefghijklmnopqrstuvwxyz";
    VRNList<Element> m_List;
};

// The lines with every address as N.
Lines WithoutAddresses(const Lines& lines) {
    Lines result;
    for (const std::string& line : lines) {
        result.push_back(std::regex_replace(line, std::regex("(0x|Head Node: )[0-9a-f]+"), "$1N"));
    }
    return result;
}

} // namespace

TEST(VRNList, AddsAtEveryPlace) {
    const struct {
        const char* before;
        int ref, pos;
        const char* after;
    } table[] = {
        {"", NONE, 0, "x"},     {"", NONE, 1, "x"},     {"", NONE, 2, "x"},    {"", NONE, 7, "x"},
        {"ab", NONE, 1, "abx"}, {"ab", NONE, 0, "xab"}, {"ab", 0, 1, "axb"},   {"ab", 1, 1, "abx"},
        {"ab", 0, 0, "xab"},    {"ab", 1, 0, "axb"},    {"ab", NONE, 2, "ab"}, {"ab", 0, 7, "ab"},
        {"ab", NONE, -1, "ab"}, // not linked, and counted all the same
    };
    for (const auto& row : table) {
        Letters letters(row.before);
        const int count = letters.m_List.Count();
        EXPECT_EQ(1, letters.Add('x', row.ref, row.pos));
        EXPECT_EQ(row.after, letters.Chain()) << row.before << " " << row.ref << " " << row.pos;
        EXPECT_EQ(count + 1, letters.m_List.Count());
    }
}

TEST(VRNList, DeletesAtEveryPlace) {
    const struct {
        const char* before;
        int node, pos, result;
        const char* after;
    } table[] = {
        {"abc", NONE, 0, 1, "bc"}, {"abc", 1, 0, 1, "bc"}, {"abc", NONE, 2, 1, "ab"},   {"abc", 1, 2, 1, "ab"},
        {"abc", 0, 1, 1, "bc"},    {"abc", 1, 1, 1, "ac"}, {"abc", 2, 1, 1, "ab"},      {"a", NONE, 0, 1, ""},
        {"a", 0, 1, 1, ""},        {"a", NONE, 2, 1, ""},  {"abc", 1, 3, -1, "abc"},    {"abc", 1, -1, -1, "abc"},
        {"", NONE, 0, -1, ""},     {"", NONE, 1, -1, ""},  {"abc", NONE, 1, -1, "abc"}, {"", NONE, 2, -1, ""},
    };
    for (const auto& row : table) {
        Letters letters(row.before);
        EXPECT_EQ(row.result, letters.Delete(row.node, row.pos));
        EXPECT_EQ(row.after, letters.Chain()) << row.before << " " << row.node << " " << row.pos;
        EXPECT_EQ(strlen(row.after), static_cast<size_t>(letters.m_List.Count()));
    }
}

TEST(VRNList, ReadsAtEveryPlaceAndRemovesNothing) {
    Letters letters("abc");
    Letters empty;
    EXPECT_EQ("a b c", letters.Read(1, 0) + " " + letters.Read(1, 1) + " " + letters.Read(1, 2));
    EXPECT_EQ("null null", letters.Read(NONE, 1) + " " + letters.Read(1, 3));
    EXPECT_EQ("null null", empty.Read(NONE, 0) + " " + empty.Read(NONE, 2));
    EXPECT_EQ("abc", letters.Chain());
}

TEST(VRNList, ACountAboveTheElementsDoesNoHarmOnceTheListIsEmpty) {
    Letters letters("a");
    letters.Add('b', NONE, 7); // counts 2, holds 1
    letters.Delete(NONE, VRN_LIST_HEAD);
    letters.Add('c', NONE, VRN_LIST_NODE);
    EXPECT_EQ("c", letters.Chain());
}

TEST(VRNList, EachOperationLogsItsLines) {
    const Lines trace = {
        "*>::AddNode(): Current Count:0, New Node:0xN, Insert pos:1",
        "*>::AddNode(): Current Count:1, New Node:0xN, Insert pos:1",
        "*>::AddNodeAfter(): No reference given; Adding node in th end of list, TailNode:0xN",
        "*>::AddNode(): Current Count:2, New Node:0xN, Insert pos:0",
        "*>::AddNodeBefore(): No reference given, Adding node in begining of list, HeadNode:0xN",
        "*>::ReadNodeData(): Read Node:0xN: Head Node: N: pos:2",
        "*>::DeleteNode(): Cur Node:0xN: head node:0xN, tail node:0xN pos:2",
        "*>::DeleteNodeData(): Delete Node success",
        "*>::DeleteTailNode(): Delete Tail node success",
        "*>::DeleteNode(): Number of nodes after delete:2",
        "*>::DeleteNode(): Cur Node:0xN: head node:0xN, tail node:0xN pos:0",
        "*>::DeleteNodeData(): Delete Node success",
        "*>::DeleteNode(): Number of nodes after delete:1",
        "*>::DeleteNode(): Cur Node:0xN: head node:0xN, tail node:0xN pos:0",
        "*>::DeleteHeadNode(): m_pTailNode is set to NULL",
        "*>::DeleteNodeData(): Delete Node success",
        "*>::DeleteNode(): Number of nodes after delete:0",
        "*>::DeleteNode(): Cur Node:0xN: head node:0xN, tail node:0xN pos:0",
        "*>::DeleteHeadNode(): m_pHeadNode is NULL; Delete failed",
        "*>::DeleteNode(): Cur Node:0xN: head node:0xN, tail node:0xN pos:2",
        "*>::DeleteTailNode(): m_pTailNode is NULL; Delete failed",
    };
    const Lines failures = {trace[2], trace[4], trace[18], trace[20]}; // an append among them
    for (const int level : {2, 1}) {
        VRNlogLevel = level;
        LogCapture log;
        Letters letters("ab");
        letters.Add('x', NONE, VRN_LIST_HEAD);
        letters.Read(NONE, VRN_LIST_TAIL);
        for (const int pos : {2, 0, 0, 0, 2}) {
            letters.Delete(NONE, pos);
        }
        EXPECT_EQ(level == 2 ? trace : failures, WithoutAddresses(log.Lines()));
    }
    VRNlogLevel = 4;
}
