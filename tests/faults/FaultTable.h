// What the engine says and logs when a call to the platform fails: a row for each place that calls are made from.
#ifndef TESTS_FAULTS_FAULT_TABLE_H
#define TESTS_FAULTS_FAULT_TABLE_H

#include <string>
#include <vector>

using FaultLines = std::vector<std::string>;

struct FaultRow {
    std::string function;
    std::string step; // of the host's call in which it is called, or one of those below
    int result;       // the step's
    // In this order from the fault on, others between them. Each begins with the log level that shows it; ports are #.
    FaultLines lines;
};

const std::string BACKGROUND = "background"; // on a thread of the engine's
const std::string ANYWHERE = "anywhere";     // the step goes on as if nothing had failed

namespace fault_table {

inline FaultLines operator+(FaultLines first, const FaultLines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::string CREATED = "2 CTextControlManager::CreateChannel(): Created Session 0, Num of sess 1";
// Two come with each deletion of the last channel, and one is the thread's that is not there.
const FaultLines NOT_STARTED(3, "1 TextThread::Stop(): Thread not started");
const FaultLines NOT_SENT = {"2 CSocket::Sendto(): RTT TX: len:-1 port=#"};
const FaultLines RTP_NOT_SENT = NOT_SENT + FaultLines{"2 CTextTransportManager::PacketizeAndSend(): RTP Sendto failed"};
const std::string SWITCH = "1 CTextTransportManager::SetRtcpEnable(): ";

// A start that fails tells the host so only as ReconfigIPPort.
inline std::vector<FaultRow> FailedStart(const std::string& function, const FaultLines& lines) {
    const FaultLines failed =
        lines +
        FaultLines{"2 CTextTransportManager::StartTransport(): Start Recv failed - due to socket creation failure",
                   "1 CTextSessionManager::StartFDSR(): Start Transport failed"};
    const std::string manager = "CTextControlManager::";
    return {{function, "start", 1, failed + FaultLines{"2 " + manager + "StartFDSR(): Active Session 0"}},
            {function, "reconfig", -1,
             failed + FaultLines{"1 " + manager + "ReconfigIPPort(): StartFSDR Failed - Session 0"}}};
}

// A timer that cannot be armed. The first name is what the log makes of a function with blanks in its arguments.
inline std::vector<FaultRow> FailedArming(const std::string& function, const std::string& text) {
    const FaultLines failed = {"1 *)(): " + text + "\n"};
    const FaultLines report =
        failed + FaultLines{"1 CTextTransportManager::StartReportTimer(): Start RTCP Timer failed (0)"};
    const FaultLines timeout =
        failed + FaultLines{"1 CTextTransportManager::StartRTCPTimeoutTimer(): Start RTCP Timeout Timer failed (0)"};
    const std::string codec = "1 T140Codec::";
    return {{function, "type", -1, failed + FaultLines{codec + "SendText(): SendText:ERROR!..Start Timer\n"}},
            {function, "rtcp on", -1, report + FaultLines{SWITCH + "RTCP enabling failed (0)"}},
            {function, "rtcp on", -1, timeout + FaultLines{SWITCH + "Start RTCP Timeout Timer failed (0)"}},
            {function, BACKGROUND, 0, report},
            {function, BACKGROUND, 0, timeout},
            {function, BACKGROUND, 0, failed + FaultLines{codec + "SendTimerCallback(): Start_Timer failed"}}};
}

// A timer that cannot be disarmed: a stop goes on all the same.
inline std::vector<FaultRow> FailedCancel() {
    const FaultLines failed = {"1 long)(): Cancel Timer failed\n"};
    const FaultLines report =
        failed + FaultLines{"1 CTextTransportManager::StopReportTimer(): Stop RTCP Timer failed (0)",
                            SWITCH + "RTCP disabling failed (0)"};
    const FaultLines timeout =
        failed + FaultLines{"1 CTextTransportManager::StopRTCPTimeoutTimer(): Stop RTCP Timeout Timer failed (0)",
                            SWITCH + "Stop RTCP Timeout Timer failed (0)"};
    std::vector<FaultRow> rows = {{"timer_settime", "rtcp off", -1, report},
                                  {"timer_settime", "rtcp off", -1, timeout},
                                  {"timer_settime", "stop", 1, report},
                                  {"timer_settime", "stop", 1, timeout}};
    for (const char* step : {"hold", "reconfig", "stop"}) {
        rows.push_back({"timer_settime", step, 1, failed + FaultLines{"2 T140Codec::ReInitialize(): :Done"}});
    }
    for (const char* step : {"reconfig", "stop"}) {
        rows.push_back({"timer_settime", step, 1, failed + FaultLines{"2 T140Codec::Delnit(): :Exit"}});
    }
    return rows;
}

} // namespace fault_table

// The rows of a function are tried in this order.
inline std::vector<FaultRow> FaultTable() {
    using namespace fault_table;
    std::vector<FaultRow> table = {
        {"pthread_create", "create", 0,
         FaultLines{"2 CTextControlManager::CreateRecvThread(): Thread Creation failed",
                    "1 CTextControlManager::DestroyRecvThread(): Failed to join, thread is already stopped"}},
        {"pthread_create", "create", 0, FaultLines{"2 CTextFeeder::Start(): Entry", CREATED} + NOT_STARTED},
        {"pthread_create", "create", 0, FaultLines{CREATED} + NOT_STARTED},
        {"gettimeofday", "create", 0, FaultLines{"1 VRNResetAndGetTime(): gettimeofday is failed\n"}},
        {"gettimeofday", ANYWHERE, 0, {}},
        {"select", BACKGROUND, 0, {}},
        {"recvfrom", BACKGROUND, 0, FaultLines{"2 CSocket::RecvFrom(): Socket Recv Data Len: -1"}},
        {"sendto", "type", 1, RTP_NOT_SENT + FaultLines{"2 T140Codec::SendText(): Changing the red_seq [0]"}},
        {"sendto", BACKGROUND, 0, RTP_NOT_SENT},
        {"sendto", BACKGROUND, 0,
         NOT_SENT + FaultLines{"2 CTextTransportManager::GenerateAndSendRTCPReport(): RTCP Sendto failed"}},
    };
    for (const auto& rows : {FailedStart("socket", {"2 CSocket::Create(): Call to socket() resulted in error"}),
                             FailedStart("setsockopt", {"2 CSocket::Create(): setsockopt() failed"}),
                             FailedStart("setsockopt", {"2 CSocket::Create(): setsockopt netid(7) failed"}),
                             FailedStart("bind", {"2 CSocket::Create(): Socket Bind Local port:#, htons:#",
                                                  "2 CSocket::Create(): Socket Bind failed:-1"}),
                             FailedArming("timer_create", "Fail create timer"),
                             FailedArming("timer_settime", "Fail settime"), FailedCancel()}) {
        table.insert(table.end(), rows.begin(), rows.end());
    }
    return table;
}

#endif
