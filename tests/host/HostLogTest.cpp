// What a host reads in the log of a whole call, in order, word for word.

#include "tests/support/HostFixture.h"

#include <regex>

namespace {

class HostLog : public HostTest {};

using Lines = std::vector<std::string>;

const Lines WHOLE_CALL = {
    "CorvaneTextEngineClient::VRN_Init(): Init.",
    "CorvaneTextEngineClient::VRN_Init(): VRN_Init: Already initialized. Terminate it first.",
    "CTextControlManager::CreateRecvThread(): Created Recv Thread",
    "CTextControlManager::CreateChannel(): Created Session 0, Num of sess 1",
    "CTextControlManager::StartFDSR(): Direction [3] - Session 0",
    "CTextTransportManager::StartTransport(): Starting Text Transport",
    "CTextTransportManager::StartTransport(): :Exit",
    "CTextTransportManager::StartSend():  ...exit",
    "CTextTransportManager::StartReceive(): :SessionID:0",
    "CTextSessionManager::StartFDSR(): Direction:3",
    "CTextControlManager::StartFDSR(): Active Session 0",
    "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (1), isEnabled (0)",
    "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (0), isEnabled (1)",
    "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (1), isEnabled (0)",
    "CTextControlManager::SetVEStatus(): Direction [3] - Session 0",
    "CTextSessionManager::SetVEStatus(): Cur Direction:3 New Direction:3",
    "CTextSessionManager::SetVEStatus(): New direction is same",
    "CTextControlManager::SetVEStatus(): Active Session 0",
    "CTextControlManager::DeleteChannel(): Session 0, Num of sess 1",
    "CTextTransportManager::StopSend(): :Exit",
    "CTextTransportManager::StopReceive(): :Exit",
    "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (0), isEnabled (1)",
    "CTextTransportManager::StopTransport(): :Exit",
    "CTextControlManager::DestroyRecvThread(): Thread join for Recv Thread",
    "CTextControlManager::DestroyRecvThread(): Recv Thread destroyed",
    "CTextControlManager::DeleteChannel(): Deleted Session 0",
};
// Two that are no failures are logged as such.
const Lines CALL_AT_LEVEL_ONE = {
    "CTextControlManager::SetVEStatus(): Direction [1] - Session 0",
    "CTextControlManager::DeleteChannel(): Deleted Session 0",
};

// The lines of the calling thread, without those of what a call is made of further down.
Lines CallLines(const LogCapture& log) {
    const std::regex callLine("^C\\w*(Manager|Client)::.*");
    Lines lines;
    for (const std::string& line : log.OwnLines()) {
        lines.insert(lines.end(), std::regex_match(line, callLine) ? 1 : 0, line);
    }
    return lines;
}

TEST_F(HostLog, WholeCallLogsTheseLines) {
    FarEnd far;
    LogCapture log;
    EXPECT_EQ(-1, engine.VRN_Init());
    const int channel = Open(far);
    // A host that is not C++ may pass any byte for a bool: its lowest bit counts.
    using SetCallOptions = int (CorvaneTextEngineClient::*)(int, unsigned char);
    const auto call = reinterpret_cast<SetCallOptions>(&CorvaneTextEngineClient::VRN_SetCallOptions);
    for (const unsigned char enabled : {1, 2, 255}) {
        EXPECT_EQ(1, (engine.*call)(channel, enabled));
    }
    EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDRECV));
    EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
    EXPECT_EQ(WHOLE_CALL, CallLines(log));
}

TEST_F(HostLog, LevelOneShowsFailuresAndLevelZeroNothing) {
    FarEnd far;
    for (const int level : {1, 0}) {
        LogCapture log;
        __atomic_store_n(&VRNlogLevel, level, __ATOMIC_RELAXED);
        EXPECT_EQ(1, engine.VRN_SetVEStatus(Open(far), VRN_CHANNEL_SENDONLY));
        EXPECT_EQ(1, engine.VRN_DeleteChannel(0));
        EXPECT_EQ(level == 1 ? CALL_AT_LEVEL_ONE : Lines(), CallLines(log));
    }
    __atomic_store_n(&VRNlogLevel, 4, __ATOMIC_RELAXED);
}

} // namespace
