#include "util/TextThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace {

std::atomic<int> s_nStarted{0}, s_nEnded{0};

struct SlowRunnable : TRunnable {
    void Run() override {
        ++s_nStarted;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ++s_nEnded;
    }
};

} // namespace

TEST(TextThread, StartsOnceAtATimeAndIsJoinedByStopAndByItsEnd) {
    s_nStarted = s_nEnded = 0;
    auto thread = std::make_unique<TextThread>(new SlowRunnable);
    EXPECT_EQ(-1, thread->Stop());
    EXPECT_NE(0, thread->SendSignal(0)) << "there is no thread yet";
    EXPECT_EQ(0, thread->Start());
    EXPECT_EQ(-1, thread->Start());
    EXPECT_EQ(0, thread->SendSignal(0));
    EXPECT_EQ(0, thread->Stop());
    EXPECT_EQ(1, s_nEnded) << "Stop came back before the thread ended";
    EXPECT_NE(0, thread->SendSignal(0)) << "the joined thread was signalled";
    EXPECT_EQ(0, thread->Start());
    thread.reset();
    EXPECT_TRUE(s_nStarted == 2 && s_nEnded == 2);
}
