// Channels as a host handles them: ids, results, directions and which channel is heard.

#include "tests/support/HostFixture.h"

#include <cstring>
#include <memory>
#include <sys/socket.h>

namespace {

class HostChannels : public HostTest {};

constexpr int EMPTY_SLOT = 2;

using Engine = CorvaneTextEngineClient;

// A call with a channel id; # in its lines is the id.
struct CheckedCall {
    const char* name = nullptr; // as its lines begin
    int (*call)(Engine& engine, int id) = nullptr;
    const char* emptySlot = "Session not created - channelID #\n";
    int emptyResult = -1;
    const char* before = "";  // logged before the slot is looked at
    bool beforeRange = false; // and before the id is
};

const char* const NO_SESSION = "Session not created - Session #\n";

const CheckedCall CHECKED_CALLS[] = {
    {"SetSendCodec",
     [](Engine& e, int id) { return e.VRN_SetSendCodec(id, std::make_unique<stVRN_CodecInfo>().get()); }},
    {"SetSendIPnPort", [](Engine& e, int id) { return e.VRN_SetSendIPnPort(id, "::1", 4); }},
    {"SetRecvIPnPort", [](Engine& e, int id) { return e.VRN_SetRecvIPnPort(id, "::1", 4); }},
    {"SetNetID", [](Engine& e, int id) { return e.VRN_SetNetId(id, 0); }},
    {"SetRtcpOnCall", [](Engine& e, int id) { return e.VRN_SetRtcpOnCall(id, 1, 2); }},
    {"SetRtcpTimeout", [](Engine& e, int id) { return e.VRN_SetRtcpTimeout(id, 1); }},
    {"SetRtcpCallOptions", [](Engine& e, int id) { return e.VRN_SetCallOptions(id, true); }},
    {"StartFDSR", [](Engine& e, int id) { return e.VRN_StartFDSR(id, 3, 0); }, NO_SESSION, -1,
     "Direction [3] - Session #\n", true},
    {"StopFDSR", [](Engine& e, int id) { return e.VRN_StopFDSR(id); }, NO_SESSION, -1, "Session #\n", true},
    {"SetVEStatus", [](Engine& e, int id) { return e.VRN_SetVEStatus(id, 3); }, NO_SESSION, -1,
     "Direction [3] - Session #\n"},
    {"SendText", [](Engine& e, int id) { return e.VRN_SendText(id, std::string("t").data(), 1); }, NO_SESSION},
    {"ReconfigIPPort", [](Engine& e, int id) { return e.VRN_ReconfigIPPort(id); }, "Active Session *\n", 1},
    {"DeleteChannel", [](Engine& e, int id) { return e.VRN_DeleteChannel(id); }, "", 1, "Session #, Num of sess 1\n",
     true},
};

std::string Lines(const CheckedCall& row, const std::string& messages, int id) {
    std::string lines;
    for (const char character : messages) {
        const bool atStart = lines.empty() || lines.back() == '\n';
        lines += atStart ? "CTextControlManager::" + std::string(row.name) + "(): " : "";
        lines += character == '#' ? std::to_string(id) : std::string(1, character);
    }
    return lines;
}

TEST_F(HostChannels, IdsAndSlotsAreCheckedInOrderAndNamed) {
    ASSERT_EQ(0, engine.VRN_CreateChannel());
    LogCapture log;
    for (const CheckedCall& row : CHECKED_CALLS) {
        for (const int id : {-1, 3, 5, EMPTY_SLOT}) {
            const bool inRange = id == EMPTY_SLOT;
            log.Clear();
            EXPECT_EQ(inRange ? row.emptyResult : -1, row.call(engine, id)) << row.name << ' ' << id;
            const std::string before = inRange || row.beforeRange ? row.before : "";
            const std::string refused = inRange ? row.emptySlot : "Invalid Session #\n";
            EXPECT_TRUE(LinesMatch(Lines(row, before + refused, id), log.OwnLines())) << row.name << ' ' << id;
        }
        EXPECT_EQ(-1, engine.VRN_GetLastError());
    }
}

TEST_F(HostChannels, NullAndEmptyArgumentsAreRefused) {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDONLY);
    char text[] = "t";
    LogCapture log;
    EXPECT_EQ(-1, engine.VRN_SetSendIPnPort(channel, nullptr, 5000));
    EXPECT_EQ(-1, engine.VRN_SetRecvIPnPort(channel, nullptr, 5000));
    EXPECT_EQ(-1, engine.VRN_SetSendIPnPort(EMPTY_SLOT, nullptr, 5000));
    EXPECT_EQ(-1, engine.VRN_SendText(channel, nullptr, 1));
    EXPECT_EQ(-1, engine.VRN_SendText(channel, text, 0));
    EXPECT_TRUE(LinesMatch("CTextControlManager::SetSendIPnPort(): Invalid Session 0\n"
                           "CTextControlManager::SetRecvIPnPort(): Invalid Session 0\n"
                           "CTextControlManager::SetSendIPnPort(): Invalid Session 2\n"
                           "T140Codec::SendText(): SendText:NULL Data: pText = * length = 1\n"
                           "T140Codec::SendText(): SendText:NULL Data: pText = 0x* length = 0\n",
                           log.OwnLines()));
    EXPECT_EQ(-1, engine.VRN_SetSendCodec(channel, nullptr));
    EXPECT_EQ(1, Type(channel, "still up"));
    EXPECT_FALSE(far.rtp.Receive().empty());
    EXPECT_EQ(-1, engine.VRN_GetLastError());
}

TEST_F(HostChannels, ThreeAtMostAndTheLowestFreeIdIsTaken) {
    for (const int id : {0, 1, 2}) {
        EXPECT_EQ(id, engine.VRN_CreateChannel());
    }
    LogCapture log;
    EXPECT_EQ(-1, engine.VRN_CreateChannel());
    EXPECT_TRUE(LinesMatch("CTextControlManager::CreateChannel(): No Free Session: 3", log.OwnLines()));
    EXPECT_EQ(1, engine.VRN_DeleteChannel(1));
    log.Clear();
    EXPECT_EQ(1, engine.VRN_CreateChannel());
    EXPECT_TRUE(LinesMatch("CTextControlManager::CreateChannel(): Created Session 1, Num of sess 3", log.OwnLines()));
    EXPECT_EQ(1, engine.VRN_DeleteChannel(0));
    EXPECT_EQ(1, engine.VRN_DeleteChannel(2));
    EXPECT_EQ(0, engine.VRN_CreateChannel());
}

// Neither of a pair of ports may be taken, and only ReconfigIPPort tells.
TEST_F(HostChannels, FailedStartIsReportedAsDoneAndByReconfigAsFailed) {
    for (const int taken : {0, 1}) {
        FarEnd far;
        const int channel = Open(far, VRN_CHANNEL_SENDRECV);
        const uint16_t other = FreePortPair(far.ip);
        EXPECT_EQ(1, engine.VRN_SetRecvIPnPort(channel, far.ip.c_str(), other));
        {
            UdpPeer taker(static_cast<uint16_t>(other + taken), far.ip);
            LogCapture log;
            EXPECT_EQ(-1, engine.VRN_ReconfigIPPort(channel));
            EXPECT_TRUE(log.Has("CTextControlManager::ReconfigIPPort(): StartFSDR Failed - Session 0"));
            log.Clear();
            EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0));
            EXPECT_TRUE(log.Has("CSocket::Create(): Socket Bind failed:-1"));
            EXPECT_TRUE(log.Has("StartTransport(): Start Recv failed - due to socket creation failure"));
            EXPECT_TRUE(log.Has("CTextSessionManager::StartFDSR(): Start Transport failed"));
            EXPECT_EQ(-1, engine.VRN_SetCallOptions(channel, true));
            EXPECT_EQ(-1, Type(channel, "not started"));
            EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_RECVONLY));
            EXPECT_TRUE(log.Has("CTextSessionManager::SetVEStatus(): StartRecv fail"));
        }
        EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0));
        EXPECT_EQ(1, Type(channel, "started"));
        EXPECT_FALSE(far.rtp.Receive().empty());
        EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
    }
}

// The transport calls that each change of direction makes, and what then works.
TEST_F(HostChannels, EveryChangeOfDirectionStartsAndStopsWhatItSays) {
    const char* const calls[4][4] = {
        {"", "StartSend", "StartReceive", "StartSend StartReceive"},
        {"StopSend", "", "StopSend StartReceive", "StartReceive"},
        {"StopReceive", "StopReceive StartSend", "", "StartSend"},
        {"StopSend StopReceive", "StopReceive StartSend", "StopSend StartReceive", ""},
    };
    FarEnd far;
    const int channel = Create(far, 0);
    uint32_t seq = 1;
    for (int from = 0; from < 4; ++from) {
        for (int to = 0; to < 4; ++to) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            LogCapture log;
            EXPECT_EQ(1, engine.VRN_StartFDSR(channel, from, 0));
            log.Clear();
            EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, to));
            std::string made;
            for (const std::string& line : log.OwnLines()) {
                const size_t begin = std::strlen("CTextTransportManager::");
                if (line.rfind("CTextTransportManager::", 0) == 0) {
                    made += (made.empty() ? "" : " ") + line.substr(begin, line.find('(') - begin);
                }
            }
            EXPECT_EQ(calls[from][to], made);
            EXPECT_EQ((to & 1) != 0 ? 1 : -1, Type(channel, "s"));
            const Bytes sent = far.rtp.Receive((to & 1) != 0 ? 10000 : 0);
            EXPECT_EQ((to & 1) != 0 ? 1U : 0U, Read32(sent, 0) & 0xFFFF) << "sequence number";
            const std::string shown = Shown(channel);
            far.SendPlain(seq++, "r");
            if ((to & 2) != 0) {
                EXPECT_TRUE(WaitUntil([&] { return Shown(channel) == shown + "r"; }));
            } else {
                EXPECT_TRUE(StaysFalse([&] { return Shown(channel) != shown; }, std::chrono::milliseconds(120)));
            }
            EXPECT_EQ(1, engine.VRN_StopFDSR(channel));
            while (!far.rtp.Receive(0).empty()) {
            }
        }
    }
}

// Bits that mean nothing are kept: from 4, no rule of the change to 3 applies, and nothing is there to send with.
TEST_F(HostChannels, DirectionFourThenThreeSendsNothingUntilSendingIsStarted) {
    FarEnd far;
    const int channel = Open(far, 4);
    EXPECT_EQ(-1, Type(channel, "refused"));
    EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDRECV));
    LogCapture log;
    EXPECT_EQ(1, Type(channel, "unsent"));
    EXPECT_TRUE(log.Has("CTextTransportManager::PacketizeAndSend(): RTP Sendto failed"));
    EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDONLY));
    const Bytes first = far.rtp.Receive();
    EXPECT_EQ(1U, Read32(first, 0) & 0xFFFF);
    EXPECT_NE(std::string::npos, std::string(first.begin(), first.end()).find("unsent")) << "as a generation";
}

// Only a start of receiving makes a channel the active one.
TEST_F(HostChannels, LastToStartReceivingIsActive) {
    FarEnd first;
    FarEnd second;
    const int a = Create(first);
    const int b = Create(second);
    const struct {
        const char* name;
        int channel;
        int direction;
        bool change; // SetVEStatus, not StartFDSR
        int active;
    } rows[] = {
        {"start receiving", a, 2, false, a},
        {"another sends", b, 1, false, a},
        {"and receives", b, 3, true, b},
        {"2 to 3", a, 3, true, b},
        {"3 to 2 starts again", a, 2, true, a},
        {"3 to 1", b, 1, true, a},
        {"stop", b, 0, true, a},
        {"from 0", b, 2, true, b},
        {"from anew", a, 3, false, a},
    };
    for (const auto& row : rows) {
        LogCapture log;
        EXPECT_EQ(1, row.change ? engine.VRN_SetVEStatus(row.channel, row.direction)
                                : engine.VRN_StartFDSR(row.channel, row.direction, 0));
        EXPECT_EQ(1U, log.Count("Active Session " + std::to_string(row.active))) << row.name;
    }
    LogCapture log;
    EXPECT_EQ(1, engine.VRN_StopFDSR(a));
    EXPECT_EQ(1, engine.VRN_ReconfigIPPort(a));
    EXPECT_TRUE(log.Has("ReconfigIPPort(): Active Session " + std::to_string(a))) << "stopping changes nothing";
    EXPECT_EQ(1, engine.VRN_ReconfigIPPort(b));
    EXPECT_TRUE(log.Has("ReconfigIPPort(): Active Session " + std::to_string(b)));
}

// A host that is not C++ may pass any byte for a bool.
TEST_F(HostChannels, OnlyTheLowestBitOfTheRtcpSwitchCounts) {
    using SetCallOptions = int (Engine::*)(int, unsigned char);
    const auto call = reinterpret_cast<SetCallOptions>(&Engine::VRN_SetCallOptions);
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDRECV);
    LogCapture log;
    for (const unsigned char byte : {2, 3, 254, 255}) {
        log.Clear();
        EXPECT_EQ(1, (engine.*call)(channel, byte));
        EXPECT_TRUE(log.Has("SetRtcpEnable (" + std::to_string(byte & 1) + ")")) << +byte;
    }
}

// Marking sockets for a network needs a right that the test may not have.
TEST_F(HostChannels, NetworkIdMarksTheSocketsOrTheStartFails) {
    FarEnd far;
    const int channel = Create(far);
    EXPECT_EQ(1, engine.VRN_SetNetId(channel, 100));
    LogCapture log;
    EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDONLY, 0));
    const std::string created = "Socket Create and Bind success (";
    EXPECT_TRUE(log.Has(created) || log.Has("CSocket::Create(): setsockopt netid(100) failed"));
    for (const std::string& line : log.OwnLines()) {
        const size_t at = line.find(created);
        unsigned mark = 0;
        socklen_t length = sizeof(mark);
        if (at != std::string::npos) {
            getsockopt(std::stoi(line.substr(at + created.size())), SOL_SOCKET, SO_MARK, &mark, &length);
            EXPECT_EQ(0xD0064U, mark);
        }
    }
}

} // namespace
