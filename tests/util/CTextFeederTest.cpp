#include "util/CTextFeeder.h"

#include "control/CTextControlManager.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManagerStub.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(CTextFeeder, DeliversEveryFiftyMillisecondsUntilStopped) {
    manager_stub::Reset();
    LogCapture log;
    CTextControlManager manager;
    CTextFeeder feeder;
    feeder.RegisterControlManager(&manager);
    EXPECT_EQ(-1, feeder.Stop());
    EXPECT_EQ(0, feeder.Start());
    EXPECT_EQ(-1, feeder.Start());
    EXPECT_TRUE(WaitUntil([] { return manager_stub::Calls().size() >= 5; }));
    EXPECT_EQ(0, feeder.Stop());
    const auto calls = manager_stub::Calls();
    for (size_t i = 1; i < calls.size(); ++i) {
        EXPECT_GE(calls[i].m_Time - calls[i - 1].m_Time, 49ms);
    }
    std::this_thread::sleep_for(120ms);
    EXPECT_EQ(calls.size(), manager_stub::Calls().size()) << "delivered after Stop had returned";
    feeder.GetData();
    EXPECT_EQ(calls.size() + 1, manager_stub::Calls().size());
    EXPECT_EQ(2U, log.Count("CTextFeeder::Start(): Entry"));
    EXPECT_EQ(2U, log.Count("CTextFeeder::Stop(): Entry"));
    EXPECT_EQ(0, feeder.Start()); // the destructor ends it, or this test does not end
}
