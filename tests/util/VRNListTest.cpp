#include "util/VRNList.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Letters = VRNList<const char*>;
constexpr int NONE = -1;

// Adds an x ('+'), deletes ('-') or reads: what comes back, of a read the letter or 0.
int Do(Letters& list, char operation, int index, int pos) {
    Node<const char*>* node = index == NONE ? nullptr : list.HeadNode();
    for (; index > 0; --index) {
        node = node->m_pNext;
    }
    const char* element = "x";
    if (operation != '?') {
        return operation == '+' ? list.AddNode(element, node, pos) : list.DeleteNode(node, pos);
    }
    element = list.ReadNodeData(node, pos);
    return element == nullptr ? 0 : *element;
}

// Empties the list from one end: its letters.
std::string Drain(Letters& list, int end) {
    std::string letters;
    for (int letter; (letter = Do(list, '?', NONE, end)) != 0; list.DeleteNode(nullptr, end)) {
        letters += static_cast<char>(letter);
    }
    return letters;
}

} // namespace

TEST(VRNList, EachPositionCodeActsAtItsPlace) {
    const struct {
        char operation;
        const char* before;
        int node, pos, result;
        const char* after;
    } table[] = {
        {'+', "", NONE, 0, 1, "x"},      {'+', "", NONE, 1, 1, "x"},     {'+', "", NONE, 7, 1, "x"},
        {'+', "ab", NONE, 1, 1, "abx"},  {'+', "ab", NONE, 0, 1, "xab"}, {'+', "ab", 0, 1, 1, "axb"},
        {'+', "ab", 1, 1, 1, "abx"},     {'+', "ab", 0, 0, 1, "xab"},    {'+', "ab", 1, 0, 1, "axb"},
        {'+', "ab", NONE, 2, 1, "ab"},   {'+', "ab", NONE, -1, 1, "ab"}, // not linked, and counted all the same
        {'-', "abc", 1, 0, 1, "bc"},     {'-', "abc", 1, 2, 1, "ab"},    {'-', "abc", 0, 1, 1, "bc"},
        {'-', "abc", 1, 1, 1, "ac"},     {'-', "abc", 2, 1, 1, "ab"},    {'-', "a", NONE, 0, 1, ""},
        {'-', "a", NONE, 2, 1, ""},      {'-', "abc", 1, 3, -1, "abc"},  {'-', "abc", NONE, 1, -1, "abc"},
        {'-', "", NONE, 0, -1, ""},      {'-', "", NONE, 1, -1, ""},     {'-', "", NONE, 2, -1, ""},
        {'?', "abc", 1, 0, 'a', "abc"},  {'?', "abc", 1, 1, 'b', "abc"}, {'?', "abc", 1, 2, 'c', "abc"},
        {'?', "abc", NONE, 1, 0, "abc"}, {'?', "abc", 1, 3, 0, "abc"},   {'?', "", NONE, 2, 0, ""},
    };
    for (const auto& row : table) {
        for (const int end : {VRN_LIST_HEAD, VRN_LIST_TAIL}) {
            Letters list;
            for (const char* letter = row.before; *letter != '\0'; ++letter) {
                list.AddNode(letter, nullptr, VRN_LIST_NODE);
            }
            const int count = row.operation == '+' ? list.Count() + 1 : static_cast<int>(strlen(row.after));
            EXPECT_EQ(row.result, Do(list, row.operation, row.node, row.pos));
            EXPECT_EQ(count, list.Count());
            std::string letters = Drain(list, end);
            if (end == VRN_LIST_TAIL) {
                std::reverse(letters.begin(), letters.end());
            }
            EXPECT_EQ(row.after, letters) << row.before << row.operation << row.node << " " << row.pos;
            if (list.Count() > 0) { // nodes that were never linked, and one more
                Do(list, '+', NONE, 7);
            }
            EXPECT_EQ(nullptr, list.HeadNode());
            Do(list, '+', NONE, VRN_LIST_NODE); // whatever it counted
            EXPECT_EQ("x", Drain(list, end));
        }
    }
}

TEST(VRNList, AnAppendIsLoggedAsAFailureUnderTheTailOfTheListsName) {
    for (const int level : {1, 2}) {
        Letters list;
        LogCapture log;
        VRNlogLevel = level;
        Do(list, '+', NONE, VRN_LIST_NODE);
        Do(list, '+', NONE, VRN_LIST_NODE);
        EXPECT_EQ(level == 1 ? 1U : 3U, log.Count("*>::AddNode"));
        EXPECT_EQ(1U, log.Count("*>::AddNodeAfter(): No reference given; Adding node in th end of list, TailNode:0x"));
        VRNlogLevel = 4;
        Drain(list, VRN_LIST_HEAD);
    }
}
