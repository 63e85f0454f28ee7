// Channels as a host handles them: ids, results, directions and which calls of the transport they make.

#include "tests/support/HostFixture.h"

namespace {

class HostChannels : public HostTest {};

constexpr int EMPTY_SLOT = 2;

using Engine = CorvaneTextEngineClient;

// A call with a channel id, as its lines name it, and the last line for an empty slot.
struct CheckedCall {
    std::string name;
    int (*call)(Engine& engine, int id) = nullptr;
    std::string emptySlot = "Session not created - channelID 2";
    int emptyResult = -1;
};

const char* const NO_SESSION = "Session not created - Session 2";
stVRN_CodecInfo s_Codec = {};
char s_Text[] = "t";

const CheckedCall CHECKED_CALLS[] = {
    {"SetSendCodec", [](Engine& e, int id) { return e.VRN_SetSendCodec(id, &s_Codec); }},
    {"SetSendIPnPort", [](Engine& e, int id) { return e.VRN_SetSendIPnPort(id, "::1", 4); }},
    {"SetRecvIPnPort", [](Engine& e, int id) { return e.VRN_SetRecvIPnPort(id, "::1", 4); }},
    {"SetNetID", [](Engine& e, int id) { return e.VRN_SetNetId(id, 0); }},
    {"SetRtcpOnCall", [](Engine& e, int id) { return e.VRN_SetRtcpOnCall(id, 1, 2); }},
    {"SetRtcpTimeout", [](Engine& e, int id) { return e.VRN_SetRtcpTimeout(id, 1); }},
    {"SetRtcpCallOptions", [](Engine& e, int id) { return e.VRN_SetCallOptions(id, true); }},
    {"StartFDSR", [](Engine& e, int id) { return e.VRN_StartFDSR(id, 3, 0); }, NO_SESSION},
    {"StopFDSR", [](Engine& e, int id) { return e.VRN_StopFDSR(id); }, NO_SESSION},
    {"SetVEStatus", [](Engine& e, int id) { return e.VRN_SetVEStatus(id, 3); }, NO_SESSION},
    {"SendText", [](Engine& e, int id) { return e.VRN_SendText(id, s_Text, 1); }, NO_SESSION},
    {"ReconfigIPPort", [](Engine& e, int id) { return e.VRN_ReconfigIPPort(id); }, "Active Session 0", 1},
    {"DeleteChannel", [](Engine& e, int id) { return e.VRN_DeleteChannel(id); }, "Session 2, Num of sess 1", 1},
};

TEST_F(HostChannels, BadIdsAndEmptySlotsAreRefusedByName) {
    FarEnd far;
    EXPECT_EQ(0, Open(far));
    LogCapture log;
    for (const CheckedCall& row : CHECKED_CALLS) {
        for (const int id : {-1, 3, EMPTY_SLOT}) {
            const bool isEmpty = id == EMPTY_SLOT;
            EXPECT_EQ(isEmpty ? row.emptyResult : -1, row.call(engine, id)) << row.name << ' ' << id;
            const std::string line = isEmpty ? row.emptySlot : "Invalid Session " + std::to_string(id);
            EXPECT_EQ("CTextControlManager::" + row.name + "(): " + line, log.OwnLines().back());
        }
    }
    EXPECT_EQ(-1, engine.VRN_SetSendCodec(EMPTY_SLOT, nullptr));
    EXPECT_EQ("CTextControlManager::SetSendCodec(): Session not created - channelID " + std::to_string(EMPTY_SLOT),
              log.OwnLines().back());
    EXPECT_EQ(-1, engine.VRN_SetSendCodec(0, nullptr));
    EXPECT_EQ(-1, engine.VRN_SetSendIPnPort(0, nullptr, 5000));
    EXPECT_EQ(-1, engine.VRN_SetRecvIPnPort(0, nullptr, 5000));
    EXPECT_EQ(-1, engine.VRN_GetLastError());
}

// The transport calls that each change of direction makes. Only a start of receiving makes the channel the active one.
TEST_F(HostChannels, EveryChangeOfDirectionStartsAndStopsWhatItSays) {
    const char* const calls[4][4] = {
        {"", "StartSend ", "StartReceive ", "StartSend StartReceive "},
        {"StopSend ", "", "StopSend StartReceive ", "StartReceive "},
        {"StopReceive ", "StopReceive StartSend ", "", "StartSend "},
        {"StopSend StopReceive ", "StopReceive StartSend ", "StopSend StartReceive ", ""},
    };
    FarEnd far[2];
    const int other = Open(far[0]);
    const int channel = Open(far[1]);
    for (int change = 0; change < 16; ++change) {
        const int from = change / 4;
        const int to = change % 4;
        EXPECT_EQ(1, engine.VRN_StartFDSR(channel, from, 0));
        EXPECT_EQ(1, engine.VRN_StartFDSR(other, VRN_CHANNEL_RECVONLY, 0));
        LogCapture log;
        EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, to));
        const std::string expected = calls[from][to];
        std::string made;
        for (const std::string& line : log.OwnLines()) {
            const size_t begin = line.rfind("Manager::") + 9;
            made += line.rfind("CTextTransport", 0) == 0 ? line.substr(begin, line.find('(') - begin) + ' ' : "";
        }
        EXPECT_EQ(expected, made) << from << " to " << to;
        const int active = expected.find("StartReceive") != std::string::npos ? channel : other;
        EXPECT_TRUE(log.Has("Active Session " + std::to_string(active))) << from << " to " << to;
        EXPECT_EQ((to & VRN_CHANNEL_SENDONLY) != 0 ? 1 : -1, Type(channel, "s"));
    }
    EXPECT_EQ(1, engine.VRN_StartFDSR(other, VRN_CHANNEL_RECVONLY, 0));
    LogCapture log;
    EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDONLY, 0));
    EXPECT_TRUE(log.Has("Active Session " + std::to_string(other))) << "a start of sending alone";
}

} // namespace
