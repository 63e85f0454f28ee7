#include "util/CTextQueue.h"

#include "util/VRNLog.h"

#include <gtest/gtest.h>

#include <future>
#include <malloc.h>
#include <thread>

namespace {

using namespace std::chrono_literals;

int s_Items[4];

class CTextQueueTest : public ::testing::Test {
protected:
    CTextQueueTest() { m_Queue.InitQueue(2); }
    CTextQueue m_Queue;
};

} // namespace

TEST_F(CTextQueueTest, KeepsOrderBeyondItsSizeAndReadsWithoutRemoving) {
    auto read = std::async(std::launch::async, [this] { return m_Queue.GetDataFromQueue(); });
    EXPECT_EQ(std::future_status::timeout, read.wait_for(50ms));
    for (int& item : s_Items) {
        EXPECT_TRUE(m_Queue.PushDataToQueue(&item));
    }
    EXPECT_EQ(&s_Items[0], read.get());
    for (int& item : s_Items) {
        EXPECT_EQ(&item, m_Queue.GetDataFromQueue());
        m_Queue.DeleteQueueNode();
    }
}

TEST_F(CTextQueueTest, NoWakeUpAloneEndsAWaitAndTheShutDownIsNeverLost) {
    auto reads = std::async(std::launch::async, [this] {
        while (m_Queue.GetDataFromQueue() != nullptr) {
        }
    });
    for (int round = 0; round < 100; ++round) { // each wakes the reader for an item that is gone again
        m_Queue.PushDataToQueue(&s_Items[0]);
        m_Queue.DeleteQueueNode();
        std::this_thread::sleep_for(300us);
    }
    EXPECT_EQ(std::future_status::timeout, reads.wait_for(20ms));
    m_Queue.DeInit();
    reads.get();
    EXPECT_EQ(nullptr, m_Queue.GetDataFromQueue()) << "a shut-down before the wait was lost";
    m_Queue.PushDataToQueue(&s_Items[0]);
    EXPECT_EQ(&s_Items[0], m_Queue.GetDataFromQueue()) << "what is queued is still read";
}

TEST_F(CTextQueueTest, CloseHandsBackWhatIsQueuedAndRefusesMore) {
    static std::vector<void*> s_Freed;
    m_Queue.PushDataToQueue(&s_Items[1]);
    m_Queue.PushDataToQueue(&s_Items[0]);
    m_Queue.DeInitQueue([](void* item) { s_Freed.push_back(item); });
    EXPECT_EQ((std::vector<void*>{&s_Items[1], &s_Items[0]}), s_Freed);
    EXPECT_FALSE(m_Queue.PushDataToQueue(&s_Items[2]));
    EXPECT_EQ(nullptr, m_Queue.GetDataFromQueue());
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
