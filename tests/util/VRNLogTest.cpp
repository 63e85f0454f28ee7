#include "util/VRNLog.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>

TEST(VRNLog, FuncNameCutsTheBareNameOutOfClangsText) {
    const char* const table[][2] = {
        {"int CSocket::Create(char *, short, int, SockAddr &)", "CSocket::Create()"},
        // The last blank lies inside the arguments, and the last "(" before it.
        {"bool VRNStartTimer(HObject, unsigned long, VRNTimerCallback, void *)", "*)()"},
        // A class name with a blank keeps its tail.
        {"int VRNList<RedListData *>::AddNode(T &, Node<T> *, int) [T = RedListData *]", "*>::AddNode()"},
        {"static void *CTextControlManager::TRecvThread(void *)", "*CTextControlManager::TRecvThread()"},
        {"void (anonymous namespace)::A::B(int)", "namespace)::A::B()"},
        {"", "()"},
        {"A::B", "A::B()"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row[1], FuncName(row[0]));
    }
}

// Logs a failure and a trace line; counts the arguments that are evaluated.
struct Speaker {
    void Speak() {
        VRN_LOG(VRN_LOG_FAILURE, "%s: failed %d", ++m_nEvaluated);
        VRN_LOG(VRN_LOG_TRACE, "%s: traced %d", ++m_nEvaluated);
    }
    int m_nEvaluated = 0;
};

TEST(VRNLog, LevelDecidesWhatIsPrintedAndEvaluatedAndErrnoIsKept) {
    const std::vector<std::string> all = {"Speaker::Speak(): failed 1", "Speaker::Speak(): traced 2"};
    for (const auto& row : std::map<int, int>{{INT_MIN, 0}, {0, 0}, {1, 1}, {2, 2}, {4, 2}, {INT_MAX, 2}}) {
        LogCapture log; // which changes errno
        Speaker speaker;
        VRNlogLevel = row.first;
        errno = ENOENT;
        speaker.Speak();
        EXPECT_EQ(ENOENT, errno);
        EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + row.second), log.Lines()) << row.first;
        EXPECT_EQ(row.second, speaker.m_nEvaluated) << row.first;
    }
    VRNlogLevel = 4;
}

TEST(VRNLog, TextOfOthersIsCopiedBounded) {
    const std::vector<unsigned char> text(VRN_LOG_TEXT_MAX + 1, 'x');
    EXPECT_EQ(VRN_LOG_TEXT_MAX, VRNLogText(text.data(), text.size()).size());
    EXPECT_EQ("", VRNLogText(nullptr, 5));
}
