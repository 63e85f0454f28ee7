#include "util/TextThread.h"

#include "tests/support/LogCapture.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

using Lines = std::vector<std::string>;

struct Counters {
    std::atomic<int> running{0};
    std::atomic<int> runs{0};
    std::atomic<int> deleted{0};
    std::atomic<bool> mayEnd{true};
};

class CountingRunnable : public TRunnable {
public:
    explicit CountingRunnable(Counters& counters) : m_Counters(counters) {}
    ~CountingRunnable() override { ++m_Counters.deleted; }
    void Run() override {
        ++m_Counters.runs;
        ++m_Counters.running;
        WaitUntil([this] { return m_Counters.mayEnd.load(); });
        --m_Counters.running;
    }

private:
    Counters& m_Counters;
};

} // namespace

TEST(TextThread, StartsOnceAndStopJoins) {
    Counters counters;
    counters.mayEnd = false;
    LogCapture log;
    auto owner = std::make_unique<TextThread>(new CountingRunnable(counters));
    TextThread& thread = *owner;
    EXPECT_EQ(-1, thread.Stop());
    EXPECT_NE(0, thread.SendSignal(0)) << "there is no thread yet";
    EXPECT_EQ(0, thread.Start());
    EXPECT_EQ(-1, thread.Start());
    EXPECT_TRUE(WaitUntil([&counters] { return counters.running == 1; }));
    EXPECT_EQ(0, thread.SendSignal(0));
    counters.mayEnd = true;
    EXPECT_EQ(0, thread.Stop());
    EXPECT_EQ(0, counters.running) << "Stop came back before the thread ended";
    EXPECT_NE(0, thread.SendSignal(0)) << "the joined thread was signalled";
    EXPECT_EQ(0, thread.Start());
    EXPECT_EQ(0, thread.Stop());
    EXPECT_EQ(2, counters.runs) << "started again";
    owner.reset();
    EXPECT_EQ((Lines{
                  "TextThread::Stop(): Thread not started", "TextThread::Start(): Thread already started.",
                  "TextThread::Stop(): Thread mutex destroy", "TextThread::Stop(): Thread stopped",
                  "TextThread::Stop(): Thread mutex destroy", "TextThread::Stop(): Thread stopped",
                  "TextThread::Stop(): Thread not started", // the destructor's
              }),
              log.Lines());
}

TEST(TextThread, DestructionJoinsAndDeletesTheRunnable) {
    Counters counters;
    auto thread = std::make_unique<TextThread>(new CountingRunnable(counters));
    thread->Start();
    thread.reset();
    EXPECT_EQ(0, counters.running);
    EXPECT_EQ(1, counters.deleted);
}
