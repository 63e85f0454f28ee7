// What a host reads in the log: the lines of each call on the thread that made it, in order, word for word.

#include "tests/support/HostFixture.h"

#include <arpa/inet.h>
#include <sstream>

namespace {

class HostLog : public HostTest {};

// Lines that begin with "!" are failures, which level 1 shows too. #L and #R stand for the local and remote RTP ports,
// #LC for the local RTCP port, #NL and so on for the ports in network byte order.
const char* const APPEND_FIRST = "*>::AddNode(): Current Count:0, New Node:0x*, Insert pos:1\n";
const char* const APPEND_SECOND =
    "*>::AddNode(): Current Count:1, New Node:0x*, Insert pos:1\n"
    "!*>::AddNodeAfter(): No reference given; Adding node in th end of list, TailNode:0x*\n";
const char* const START_TRANSPORT = "CTextTransportManager::StartTransport(): Starting Text Transport\n"
                                    "+first"
                                    "+second"
                                    "T140Codec::Init(): Exit: Redlevel:2, PT:98\n"
                                    "CSocket::SetAddress(): m_bIsIPV6:0\n"
                                    "CSocket::Create(): Socket Bind Local port:#L, htons:#NL\n"
                                    "CSocket::Create(): Socket Create and Bind success (*)\n"
                                    "CSocket::SetAddress(): m_bIsIPV6:0\n"
                                    "CSocket::Create(): Socket Bind Local port:#LC, htons:#NLC\n"
                                    "CSocket::Create(): Socket Create and Bind success (*)\n"
                                    "CSocket::SetAddress(): m_bIsIPV6:0\n"
                                    "CSocket::SetAddress(): m_bIsIPV6:0\n"
                                    "CTextTransportManager::StartTransport(): :Exit\n";
const char* const START_SEND = "CTextTransportManager::StartSend():  ...exit\n";
const char* const START_RECEIVE = "NetworkRecv::RegisterSocket(): : blockthread (*)\n"
                                  "CTextTransportManager::StartReceive(): :SessionID:0\n";
const char* const STOP_RECEIVE = "NetworkRecv::UnRegisterSocket(): sock fd:*\n"
                                 "CTextTransportManager::StopReceive(): :Exit\n";
// Two generations are dropped.
const char* const STOP_SEND = "*>::DeleteNode(): Cur Node:0x*: head node:0x*, tail node:0x* pos:0\n"
                              "*>::DeleteNodeData(): Delete Node success\n"
                              "*>::DeleteNode(): Number of nodes after delete:1\n"
                              "*>::DeleteNode(): Cur Node:0x*: head node:0x*, tail node:0x* pos:0\n"
                              "*>::DeleteHeadNode(): m_pTailNode is set to NULL\n"
                              "*>::DeleteNodeData(): Delete Node success\n"
                              "*>::DeleteNode(): Number of nodes after delete:0\n"
                              "T140Codec::ReInitialize(): :Done\n"
                              "CTextTransportManager::StopSend(): :Exit\n";
const char* const RTCP_ON = "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (1), isEnabled (0)\n"
                            "NetworkRecv::RegisterSocket(): : blockthread (0)\n";
const char* const RTCP_OFF = "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (0), isEnabled (1)\n"
                             "NetworkRecv::UnRegisterSocket(): sock fd:*\n";
const char* const STOP_TRANSPORT = "T140Codec::Delnit(): :Exit\n"
                                   "CTextTransportManager::StopTransport(): :Exit\n";
const char* const SEND_FROM_IDLE = "T140Codec::SendText(): isIdlePeriod: 1, data len:1 RedCount:2\n"
                                   "T140Codec::SendText(): payload: 0x61 a\n"
                                   "T140Codec::SendText(): length: 1 bytes, Timestamp: *\n"
                                   "T140Codec::AddRedundancy(): Red list count: 2 bIsRedAdded:1\n"
                                   "*>::ReadNodeData(): Read Node:0x*: Head Node: *: pos:1\n"
                                   "T140Codec::AddRedundancy(): Read Red list data success: 0x*\n"
                                   "*>::ReadNodeData(): Read Node:0x*: Head Node: *: pos:1\n"
                                   "T140Codec::AddRedundancy(): Read Red list data success: 0x*\n"
                                   "T140Codec::AddRedundancy(): Current diff in Buffer pointer = 8, isRed:1\n"
                                   "T140Codec::UpdateRedundancyList(): Redundant data node count:2\n"
                                   "*>::DeleteNode(): Cur Node:0x*: head node:0x*, tail node:0x* pos:1\n"
                                   "*>::DeleteNodeData(): Delete Node success\n"
                                   "*>::DeleteNode(): Number of nodes after delete:1\n"
                                   "+second"
                                   "T140Codec::PrintText(): Data len :10, no. chars = *, data = *\n"
                                   "CSocket::Sendto(): RTT TX: len:22 port=#NR\n"
                                   "T140Codec::SendText(): Changing the red_seq [1]\n";
const char* const STOP_THREAD = "TextThread::Stop(): Thread mutex destroy\n"
                                "TextThread::Stop(): Thread stopped\n"
                                "!TextThread::Stop(): Thread not started\n";

struct Step {
    const char* name = nullptr;
    std::function<int()> call;
    int result = 0;
    std::string lines;
};

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// The lines that a level shows.
std::string AtLevel(std::string lines, const FarEnd& far, int level) {
    ReplaceAll(lines, "+first", APPEND_FIRST);
    ReplaceAll(lines, "+second", APPEND_SECOND);
    const auto port = [](unsigned number) { return std::to_string(number); };
    ReplaceAll(lines, "#NLC", port(htons(far.enginePort + 1)));
    ReplaceAll(lines, "#NL", port(htons(far.enginePort)));
    ReplaceAll(lines, "#NR", port(htons(far.rtp.Port())));
    ReplaceAll(lines, "#LC", port(far.enginePort + 1U));
    ReplaceAll(lines, "#L", port(far.enginePort));
    std::istringstream all(lines);
    std::string shown;
    for (std::string line; std::getline(all, line);) {
        const bool isFailure = line[0] == '!';
        if (level >= (isFailure ? 1 : 2)) {
            shown += line.substr(isFailure ? 1 : 0) + '\n';
        }
    }
    return shown;
}

std::string StartLines() {
    return std::string(START_TRANSPORT) + START_SEND + START_RECEIVE +
           "CTextSessionManager::StartFDSR(): Direction:3\n";
}

std::vector<Step> SetUpAndType(CorvaneTextEngineClient& engine, FarEnd& far) {
    static stVRN_CodecInfo codec = {{}, RECV_T140, RECV_RED, SEND_T140, SEND_RED, 2};
    const auto text = [&engine](const char* typed) {
        std::string copy = typed;
        return engine.VRN_SendText(0, copy.data(), static_cast<unsigned>(copy.size()));
    };
    const auto packets = [&far](int count) {
        int received = 0;
        while (received < count && !far.rtp.Receive().empty()) {
            ++received;
        }
        return received;
    };
    return {
        {"init again", [&] { return engine.VRN_Init(); }, -1,
         "CorvaneTextEngineClient::VRN_Init(): Init.\n"
         "!CorvaneTextEngineClient::VRN_Init(): VRN_Init: Already initialized. Terminate it first.\n"},
        {"create", [&] { return engine.VRN_CreateChannel(); }, 0,
         "CTextControlManager::CreateRecvThread(): Created Recv Thread\n"
         "NetworkRecv::Start(): Entry\n"
         "CTextFeeder::Start(): Entry\n"
         "CTextControlManager::CreateChannel(): Created Session 0, Num of sess 1\n"},
        {"codec", [&] { return engine.VRN_SetSendCodec(0, &codec); }, 1, ""},
        {"remote", [&] { return engine.VRN_SetSendIPnPort(0, far.ip.c_str(), far.rtp.Port()); }, 1, ""},
        {"local", [&] { return engine.VRN_SetRecvIPnPort(0, far.ip.c_str(), far.enginePort); }, 1, ""},
        {"network", [&] { return engine.VRN_SetNetId(0, 0); }, 1, ""},
        {"bandwidth", [&] { return engine.VRN_SetRtcpOnCall(0, 1, 2); }, 1, ""},
        {"time-out", [&] { return engine.VRN_SetRtcpTimeout(0, 30); }, 1, ""},
        {"start", [&] { return engine.VRN_StartFDSR(0, 3, 99); }, 1,
         "CTextControlManager::StartFDSR(): Direction [3] - Session 0\n" + StartLines() +
             "CTextControlManager::StartFDSR(): Active Session 0\n"},
        {"RTCP on", [&] { return engine.VRN_SetCallOptions(0, true); }, 1, RTCP_ON},
        {"RTCP on again", [&] { return engine.VRN_SetCallOptions(0, true); }, 1,
         "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (1), isEnabled (1)\n"},
        {"text from idle", [=] { return text("a"); }, 1, SEND_FROM_IDLE},
        {"text while a tick is pending", [=] { return text("b"); }, 1,
         "T140Codec::SendText(): isIdlePeriod: 0, data len:1 RedCount:2\n"
         "T140Codec::SendText(): SendText: Enqueue text: b , 1\n"
         "+first"},
        {"ticks", [=] { return packets(4); }, 4, ""},
    };
}

std::vector<Step> SwitchAndEnd(CorvaneTextEngineClient& engine) {
    return {
        {"to send only", [&] { return engine.VRN_SetVEStatus(0, 1); }, 1,
         std::string("!CTextControlManager::SetVEStatus(): Direction [1] - Session 0\n"
                     "CTextSessionManager::SetVEStatus(): Cur Direction:3 New Direction:1\n") +
             STOP_RECEIVE + START_SEND + "CTextControlManager::SetVEStatus(): Active Session 0\n"},
        {"and back", [&] { return engine.VRN_SetVEStatus(0, 3); }, 1,
         std::string("!CTextControlManager::SetVEStatus(): Direction [3] - Session 0\n"
                     "CTextSessionManager::SetVEStatus(): Cur Direction:1 New Direction:3\n") +
             START_RECEIVE + "CTextControlManager::SetVEStatus(): Active Session 0\n"},
        {"no change", [&] { return engine.VRN_SetVEStatus(0, 3); }, 1,
         "!CTextControlManager::SetVEStatus(): Direction [3] - Session 0\n"
         "CTextSessionManager::SetVEStatus(): Cur Direction:3 New Direction:3\n"
         "!CTextSessionManager::SetVEStatus(): New direction is same\n"
         "CTextControlManager::SetVEStatus(): Active Session 0\n"},
        {"new ports", [&] { return engine.VRN_ReconfigIPPort(0); }, 1,
         std::string("CTextControlManager::ReconfigIPPort(): Current Direction:3\n") + STOP_SEND + STOP_RECEIVE +
             RTCP_OFF + STOP_TRANSPORT + StartLines() + "CTextControlManager::ReconfigIPPort(): Active Session 0\n"},
        {"RTCP is off now", [&] { return engine.VRN_SetCallOptions(0, false); }, 1,
         "CTextTransportManager::SetRtcpEnable(): SetRtcpEnable (0), isEnabled (0)\n"},
        {"RTCP on", [&] { return engine.VRN_SetCallOptions(0, true); }, 1, RTCP_ON},
        {"RTCP off", [&] { return engine.VRN_SetCallOptions(0, false); }, 1, RTCP_OFF},
        {"stop", [&] { return engine.VRN_StopFDSR(0); }, 1,
         std::string("CTextControlManager::StopFDSR(): Session 0\n") + STOP_SEND + STOP_RECEIVE + STOP_TRANSPORT},
        {"stop again", [&] { return engine.VRN_StopFDSR(0); }, 1,
         "CTextControlManager::StopFDSR(): Session 0\n"
         "!CTextSessionManager::StopFDSR(): Not Started\n"
         "CTextTransportManager::StopTransport(): :Exit\n"},
        {"delete", [&] { return engine.VRN_DeleteChannel(0); }, 1,
         std::string("CTextControlManager::DeleteChannel(): Session 0, Num of sess 1\n"
                     "CTextControlManager::DestroyRecvThread(): Thread join for Recv Thread\n"
                     "CTextControlManager::DestroyRecvThread(): Recv Thread destroyed\n"
                     "CTextFeeder::Stop(): Entry\n") +
             STOP_THREAD + "NetworkRecv::Stop(): Entry\n" + STOP_THREAD +
             "!CTextControlManager::DeleteChannel(): Deleted Session 0\n"},
    };
}

TEST_F(HostLog, WholeCallLogsTheseLinesAtEachLevel) {
    EXPECT_EQ(0, InitOnce().result);
    EXPECT_TRUE(LinesMatch("CorvaneTextEngineClient::VRN_Init(): Init.", InitOnce().lines));
    for (const int level : {4, 2, 1, 0}) {
        SCOPED_TRACE("log level " + std::to_string(level));
        FarEnd far;
        SetLogLevel(level);
        LogCapture log;
        std::vector<Step> steps = SetUpAndType(engine, far);
        const std::vector<Step> rest = SwitchAndEnd(engine);
        steps.insert(steps.end(), rest.begin(), rest.end());
        for (const Step& step : steps) {
            log.Clear();
            EXPECT_EQ(step.result, step.call()) << step.name;
            EXPECT_TRUE(LinesMatch(AtLevel(step.lines, far, level), log.OwnLines())) << step.name;
        }
        EXPECT_TRUE(level >= 1 || log.Lines().empty());
    }
}

} // namespace
