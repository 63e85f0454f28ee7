#include "util/VRNLog.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <climits>

using Lines = std::vector<std::string>;

TEST(VRNLog, FuncNameCutsTheBareNameOutOfClangsText) {
    const struct {
        const char* text;
        const char* name;
    } table[] = {
        {"int TextThread::Start()", "TextThread::Start()"},
        {"int CSocket::Create(char *, short, int, SockAddr &)", "CSocket::Create()"},
        {"unsigned long VRNResetAndGetTime()", "VRNResetAndGetTime()"},
        // The last blank lies inside the arguments, and the last "(" before it.
        {"bool VRNStartTimer(HObject, unsigned long, VRNTimerCallback, void *)", "*)()"},
        // A class name with a blank keeps its tail.
        {"int VRNList<RedListData *>::AddNode(T &, Node<T> *, int) [T = RedListData *]", "*>::AddNode()"},
        {"virtual void NetworkRecvRunnable::Run()", "NetworkRecvRunnable::Run()"},
        {"static void *CTextControlManager::TRecvThread(void *)", "*CTextControlManager::TRecvThread()"},
        {"void (anonymous namespace)::A::B(int)", "namespace)::A::B()"},
        {"main", "main()"},
        {"", "()"},
        {"::", "::()"},
        {"A::B", "A::B()"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.name, FuncName(row.text)) << row.text;
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

TEST(VRNLog, LevelDecidesWhatIsPrintedAndEvaluated) {
    const int before = VRNlogLevel;
    const Lines failure = {"Speaker::Speak(): failed 1"};
    const Lines all = {"Speaker::Speak(): failed 1", "Speaker::Speak(): traced 2"};
    const struct {
        int level;
        Lines lines;
    } table[] = {{INT_MIN, {}}, {-1, {}}, {0, {}}, {1, failure}, {2, all}, {4, all}, {INT_MAX, all}};
    for (const auto& row : table) {
        LogCapture log;
        Speaker speaker;
        VRNlogLevel = row.level;
        speaker.Speak();
        EXPECT_EQ(row.lines, log.Lines()) << "level " << row.level;
        EXPECT_EQ(row.lines.size(), static_cast<size_t>(speaker.m_nEvaluated)) << "level " << row.level;
    }
    VRNlogLevel = before;
}

TEST(VRNLog, KeepsErrno) {
    errno = ENOENT;
    Speaker().Speak(); // the test's log changes it
    EXPECT_EQ(ENOENT, errno);
}

TEST(VRNLog, TextOfOthersIsCopiedBounded) {
    const std::vector<unsigned char> text(VRN_LOG_TEXT_MAX + 1, 'x');
    EXPECT_EQ("xx", VRNLogText(text.data(), 2));
    EXPECT_EQ(VRN_LOG_TEXT_MAX, VRNLogText(text.data(), text.size()).size());
    EXPECT_EQ("", VRNLogText(nullptr, 5));
}
