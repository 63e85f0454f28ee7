#include "util/CTextQueue.h"

#include "tests/support/LogCapture.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <malloc.h>

namespace {

using namespace std::chrono_literals;

int s_Items[8];

class CTextQueueTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0, m_Queue.InitQueue(2)); }

    CTextQueue m_Queue;
};

} // namespace

TEST_F(CTextQueueTest, KeepsOrderBeyondItsSizeAndReadsWithoutRemoving) {
    for (int& item : s_Items) {
        EXPECT_TRUE(m_Queue.PushDataToQueue(&item));
    }
    for (int& item : s_Items) {
        EXPECT_EQ(&item, m_Queue.GetDataFromQueue());
        EXPECT_EQ(&item, m_Queue.GetDataFromQueue());
        m_Queue.DeleteQueueNode();
    }
    LogCapture log;
    m_Queue.DeleteQueueNode();
    EXPECT_TRUE(log.Has("*>::DeleteHeadNode(): m_pHeadNode is NULL; Delete failed"));
}

TEST_F(CTextQueueTest, ReadOfAnEmptyQueueWaitsForAPush) {
    auto read = std::async(std::launch::async, [this] { return m_Queue.GetDataFromQueue(); });
    EXPECT_EQ(std::future_status::timeout, read.wait_for(50ms));
    m_Queue.PushDataToQueue(&s_Items[3]);
    EXPECT_EQ(&s_Items[3], read.get());
}

TEST_F(CTextQueueTest, ShutDownEndsAWaitAndForbidsLaterOnes) {
    auto waiting = std::async(std::launch::async, [this] { return m_Queue.GetDataFromQueue(); });
    EXPECT_EQ(std::future_status::timeout, waiting.wait_for(50ms));
    m_Queue.DeInit();
    EXPECT_EQ(nullptr, waiting.get());
    EXPECT_EQ(nullptr, m_Queue.GetDataFromQueue()) << "a shut-down before the wait was lost";
    m_Queue.PushDataToQueue(&s_Items[0]);
    EXPECT_EQ(&s_Items[0], m_Queue.GetDataFromQueue()) << "what is queued is still read";
}

// Each round wakes the consumer for an item that is gone again: its condition, not the wake-up, ends a wait.
TEST_F(CTextQueueTest, AWakeUpWithNothingQueuedEndsNoWait) {
    CTextQueue& queue = m_Queue;
    std::atomic<bool> ended{false};
    std::thread consumer([&queue, &ended] {
        while (queue.GetDataFromQueue() != nullptr) {
        }
        ended = true;
    });
    for (int round = 0; round < 100 && !ended; ++round) {
        queue.PushDataToQueue(&s_Items[0]);
        queue.DeleteQueueNode();
        std::this_thread::sleep_for(300us); // it waits again
    }
    EXPECT_TRUE(StaysFalse([&ended] { return ended.load(); }, 20ms));
    queue.DeInit();
    consumer.join();
}

TEST_F(CTextQueueTest, CloseHandsBackWhatIsQueuedAndRefusesMore) {
    static std::vector<void*> s_Freed;
    s_Freed.clear();
    m_Queue.PushDataToQueue(&s_Items[0]);
    m_Queue.PushDataToQueue(&s_Items[1]);
    m_Queue.DeInitQueue([](void* item) { s_Freed.push_back(item); });
    EXPECT_EQ((std::vector<void*>{&s_Items[0], &s_Items[1]}), s_Freed);
    EXPECT_FALSE(m_Queue.PushDataToQueue(&s_Items[2]));
    EXPECT_EQ(nullptr, m_Queue.GetDataFromQueue());
    m_Queue.DeleteQueueNode();
    m_Queue.DeInitQueue();
    m_Queue.InitQueue(2);
    m_Queue.PushDataToQueue(&s_Items[2]);
    EXPECT_EQ(&s_Items[2], m_Queue.GetDataFromQueue()); // left queued: the destructor frees the wrapper, not the item
}

TEST_F(CTextQueueTest, NothingGrowsWithTheItemsThatPassThrough) {
    VRNlogLevel = 0;
    size_t before = 0;
    for (int item = 0; item < 100000; ++item) {
        before = item == 100 ? mallinfo2().uordblks : before;
        m_Queue.PushDataToQueue(&s_Items[0]);
        m_Queue.DeleteQueueNode();
    }
    EXPECT_LT(mallinfo2().uordblks, before + 65536) << "(sanitizers count nothing here, and find what is unreachable)";
    VRNlogLevel = 4;
}

TEST_F(CTextQueueTest, EachOperationLogsItsLines) {
    LogCapture log;
    m_Queue.PushDataToQueue(nullptr);
    m_Queue.GetDataFromQueue();
    m_Queue.DeleteQueueNode();
    m_Queue.DeInit();
    m_Queue.GetDataFromQueue();
    const char* const lines[] = {
        "CTextQueue::PushDataToQueue(): Push Data adding..(",
        "CTextQueue::PushDataToQueue(): Push Data Exit",
        "*CTextQueue::GetDataFromQueue(): Get Data Entered",
        "*CTextQueue::GetDataFromQueue(): Got Data (",
        "*CTextQueue::GetDataFromQueue(): Get Data Entered",
        "*CTextQueue::GetDataFromQueue(): Get data returned with error",
    };
    auto expected = std::begin(lines);
    for (const std::string& line : log.Lines()) {
        if (line.find("CTextQueue") != std::string::npos) { // the list's own apart
            ASSERT_NE(std::end(lines), expected) << line;
            EXPECT_EQ(0U, line.find(*expected++)) << line;
        }
    }
    EXPECT_EQ(std::end(lines), expected);
}
