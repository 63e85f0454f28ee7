// The engine on a platform that fails: each call to the platform that a host's call comes to fails once. Every run is a
// process of its own, many side by side.

#include "tests/support/PlatformFaults.h"
#include "tests/faults/FaultTable.h"
#include "tests/support/HostFixture.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sys/wait.h>

namespace {

using platform_faults::Fault;

constexpr unsigned HANG_SECONDS = 60;
constexpr short RTCP_TIMEOUT_S = 30; // which is also when silence is looked for, in ms
constexpr unsigned SPARE_CALLS = 2;  // one run makes a few more than another, as threads go
constexpr int NO_ROW = -1;
// A tick or a report more moves a call to another number, on a slow machine from run to run: a row that one sweep slips
// past is met by another.
constexpr int SWEEPS_AT_MOST = 10;

// What the process holds of the system: descriptors, threads and timers.
std::vector<long> Held() {
    const auto entries = [](const char* directory) {
        return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
    };
    std::ifstream timers("/proc/self/timers");
    return {entries("/proc/self/fd"), entries("/proc/self/task"),
            std::count(std::istreambuf_iterator<char>(timers), {}, 'C')};
}

// A host's call, with a fault in it. When it shows, the host does once what it can to go on; all that follows must work.
struct FaultyCall : HostTest {
    FaultyCall(const Fault& fault, int level) : m_Fault(fault), m_nLevel(level) {}
    ~FaultyCall() override { TearDown(); }

    // From the first channel to the last, in a process that has had another call before.
    void Whole() {
        EXPECT_TRUE(Create() == 0 && Start() == 1);
        usleep(100000); // its clock is ahead of where the next one's begins
        EXPECT_TRUE(Type(0, "earlier") == 1 && engine.VRN_DeleteChannel(0) == 1);
        const std::vector<long> before = Held();
        ArmFault();
        Step("create", 0, [this] { return Create(); });
        Step("start", 1, [this] { return Start(); });
        Step("rtcp on", 1, [this] { return Reports(true); });
        const size_t packets = m_Timestamps.size();
        Say("one");
        Hear("a");
        Await("the tick's packet", [&] { return m_Timestamps.size() >= packets + 2; });
        m_Far.rtcp.SendTo(m_Far.enginePort + 1, Datagram().U32(0x80C80006).U32(FAR_SSRC).Text(std::string(20, '\0')));
        Await("a report", [this] { return m_nReports > 0; });
        EXPECT_EQ(1, Reports(true)); // is on, and waits until the next report is armed
        Step("hold", 1, [this] { return engine.VRN_SetVEStatus(0, VRN_CHANNEL_RECVONLY); });
        Step("resume", 1, [this] { return engine.VRN_SetVEStatus(0, VRN_CHANNEL_SENDRECV); });
        Say("two");
        Step("rtcp off", 1, [this] { return Reports(false); });
        Step("reconfig", 1, [this] { return engine.VRN_ReconfigIPPort(0); });
        Step("rtcp on", 1, [this] { return Reports(true); });
        Say("three");
        Hear("b");
        usleep(100000);                                      // silence has been looked for
        Step("type", 1, [this] { return Type(0, "last"); }); // a tick is due at the stop
        Step("stop", 1, [this] { return engine.VRN_StopFDSR(0); });
        const unsigned calls = platform_faults::calls;
        platform_faults::Arm({}, nullptr);
        platform_faults::calls = calls;
        EXPECT_EQ(1, Start());
        Say("four");
        Hear("c");
        EXPECT_EQ(1, engine.VRN_DeleteChannel(0));
        for (size_t kind = 0; kind < before.size(); ++kind) {
            EXPECT_TRUE(WaitUntil([&] { return Held()[kind] <= before[kind]; })) << "more than before of " << kind;
        }
        EXPECT_EQ(0U, platform_faults::wrongCloses);
        EXPECT_TRUE(Events(VRN_EVENT_RTCP_TIMEOUT).empty()) << "nobody was silent";
    }
    void WithoutClock() {
        EXPECT_TRUE(Create() == 0 && Start() == 1);
        usleep(50000);
        Say("before");
        ArmFault();
        Say("without");
        Await("it again", [&] { return m_Got.find("without") != m_Got.rfind("without"); });
        EXPECT_EQ(*(m_Timestamps.end() - 2), m_Timestamps.back()) << "the last tick, again";
        platform_faults::Arm({}, nullptr);
        Say("after");
        EXPECT_GT(m_Timestamps.back(), m_Timestamps[0]);
    }
    void WithoutRoute(const char* ip) {
        EXPECT_EQ(0, Create());
        EXPECT_EQ(1, engine.VRN_SetSendIPnPort(0, ip, m_Far.port));
        EXPECT_TRUE(Start() == 1 && Reports(true) == 1 && Type(0, "nowhere") == 1);
        for (const char* line : {"CTextTransportManager::PacketizeAndSend(): RTP Sendto failed",
                                 "CTextTransportManager::GenerateAndSendRTCPReport(): RTCP Sendto failed"}) {
            EXPECT_TRUE(WaitUntil([&] { return m_Log.Has(line); })) << line;
        }
        Configure(0, m_Far, 1);
        EXPECT_TRUE(engine.VRN_ReconfigIPPort(0) == 1 && Reports(true) == 1);
        Say("somewhere");
        Await("a report", [this] { return m_nReports > 0; });
    }
    // The row of the table that says what the host was told and what was logged.
    int Row() const {
        const auto table = FaultTable();
        const auto isShown = [this](const std::string& line) { return line[0] - '0' <= m_nLevel; };
        const auto logged = [&](const FaultRow& row) {
            auto from = m_Lines.begin();
            return std::all_of(row.lines.begin(), row.lines.end(), [&](const std::string& line) {
                from = isShown(line) ? std::find(from, m_Lines.end(), line.substr(2)) : from;
                return !isShown(line) || from++ != m_Lines.end();
            });
        };
        for (const FaultRow& each : table) {
            for (const std::string& line : each.lines) {
                EXPECT_TRUE(isShown(line) || !m_Log.Has(line.substr(2))) << line;
            }
        }
        const auto row = std::find_if(table.begin(), table.end(), [&](const FaultRow& each) {
            const bool isThere = each.step == m_FaultStep && each.result == m_nResult;
            return each.function == m_Fault.function && (each.step == ANYWHERE ? m_bAsExpected : isThere) &&
                   logged(each);
        });
        EXPECT_TRUE(!m_bShown || row != table.end())
            << m_FaultStep << ": " << m_nResult << testing::PrintToString(m_Lines);
        return m_bShown && row != table.end() ? static_cast<int>(row - table.begin()) : NO_ROW;
    }

    void TestBody() override {}

    int Create() {
        const int channel = engine.VRN_CreateChannel();
        Configure(0, m_Far, 1);
        EXPECT_TRUE(engine.VRN_SetNetId(0, 7) == 1 && engine.VRN_SetRtcpTimeout(0, RTCP_TIMEOUT_S) == 1);
        return channel;
    }
    int Start() { return engine.VRN_StartFDSR(0, VRN_CHANNEL_SENDRECV, 0); }
    int Reports(bool on) {
        usleep(5000); // since the start: so the first look for silence is the last
        return engine.VRN_SetCallOptions(0, on);
    }
    // Result as expected, unless the fault is in this step.
    void Step(const std::string& step, int expected, const std::function<int()>& call) {
        m_Step = step;
        const bool shownBefore = m_bShown;
        const int result = call();
        LookForFault(expected, result, call);
        EXPECT_TRUE(result == expected || (!shownBefore && m_bShown && m_bOnHost)) << step << ": " << result;
    }
    // Takes what comes at the far end until it holds.
    void Await(const char* what, const std::function<bool()>& holds) {
        EXPECT_TRUE(WaitUntil([&] {
            for (Bytes packet = m_Far.rtp.Receive(5); !packet.empty(); packet = m_Far.rtp.Receive(0)) {
                TakePacket(packet);
            }
            while (!m_Far.rtcp.Receive(0).empty()) {
                ++m_nReports;
            }
            LookForFault(0, 0, nullptr);
            return holds();
        })) << what
            << " in step " << m_Step;
    }
    void Say(const std::string& text) {
        Step("type", 1, [&] { return Type(0, text); });
        Await("typed text", [&] { return m_Got.find(text) != std::string::npos; });
    }
    void Hear(const std::string& text) {
        m_Far.SendPlain(++m_nFarSeq, text);
        m_Sent += text;
        Await("shown text", [&] { return Shown(0) == m_Sent; });
    }
    // Numbers leave none out, whatever was not sent, and timestamps go with the time.
    void TakePacket(const Bytes& packet) {
        ASSERT_LT(12U, packet.size());
        const auto seq = static_cast<uint16_t>(packet[2] << 8 | packet[3]);
        const auto elapsed = (std::chrono::steady_clock::now() - m_Start) / std::chrono::milliseconds(1);
        EXPECT_TRUE(seq == 1 || seq == m_nLastSeq + 1) << m_nLastSeq << ", then " << seq;
        EXPECT_TRUE(seq == 1 || Read32(packet, 4) - m_Timestamps.back() <= elapsed) << "a jump in time";
        m_nLastSeq = seq;
        m_Timestamps.push_back(Read32(packet, 4));
        m_Got.append(packet.begin() + 12, packet.end());
    }
    void ArmFault() {
        m_Log.Clear();
        __atomic_store_n(&VRNlogLevel, m_nLevel, __ATOMIC_RELAXED);
        platform_faults::Arm(m_Fault, [this] {
            m_bOnHost = std::this_thread::get_id() == m_Host;
            m_nLinesBefore = (m_bOnHost ? m_Log.OwnLines() : m_Log.Lines()).size();
        });
    }
    void KeepLines() {
        static const std::regex port("(port[:=]|htons:)[0-9]+");
        const auto lines = m_bOnHost ? m_Log.OwnLines() : m_Log.Lines();
        m_Lines.clear();
        std::transform(lines.begin() + static_cast<long>(m_nLinesBefore), lines.end(), std::back_inserter(m_Lines),
                       [](const std::string& line) { return std::regex_replace(line, port, "$1#"); });
    }
    void LookForFault(int expected, int result, const std::function<int()>& call) {
        if (m_bShown || !platform_faults::hasFailed) {
            return;
        }
        m_bShown = true;
        m_FaultStep = m_bOnHost ? m_Step : BACKGROUND;
        m_nResult = m_bOnHost ? result : 0;
        m_bAsExpected = result == expected;
        KeepLines();
        GoOn(expected, call);
        if (!m_bOnHost || m_Fault.function == "pthread_create") {
            KeepLines(); // with those that came later
        }
    }
    void GoOn(int expected, const std::function<int()>& call) {
        const std::string& function = m_Fault.function;
        if (function == "pthread_create") { // as far as it goes without the thread; then anew
            EXPECT_TRUE(Start() == 1 && Reports(true) == 1 && Type(0, "alone") == 1);
            m_Far.SendPlain(++m_nFarSeq, "unseen");
            usleep(100000);
            EXPECT_TRUE(Shown(0).empty() && engine.VRN_DeleteChannel(0) == 1 && Create() == 0);
            return;
        }
        if (function == "socket" || function == "setsockopt" || function == "bind") {
            EXPECT_TRUE(Reports(true) == -1 && Type(0, "refused") == -1);
            EXPECT_TRUE(engine.VRN_StopFDSR(0) == 1 && Start() == 1);
            return;
        }
        EXPECT_TRUE(m_bAsExpected || call() == expected) << "once more: " << m_Step;
        if (m_Step == "type" || m_Step == "rtcp on") {
            EXPECT_TRUE(Type(0, "again") == 1 && (!m_bAsExpected || Reports(false) == 1));
            while (!m_Far.rtcp.Receive(0).empty()) {
            }
            m_nReports = 0;
            EXPECT_EQ(1, Reports(true)); // on already, where that was called once more
            Await("text and a report after the fault",
                  [this] { return m_Got.find("again") != std::string::npos && m_nReports > 0; });
        }
    }

    const Fault m_Fault;
    const int m_nLevel;
    LogCapture m_Log;
    FarEnd m_Far;
    const std::thread::id m_Host = std::this_thread::get_id();
    const std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
    // Of the far end.
    uint16_t m_nLastSeq = 0;
    std::vector<uint32_t> m_Timestamps;
    std::string m_Got, m_Sent;
    size_t m_nReports = 0;
    uint32_t m_nFarSeq = 0;
    // Of the fault, once it has shown.
    bool m_bShown = false, m_bAsExpected = true;
    std::atomic<bool> m_bOnHost{false};
    std::atomic<size_t> m_nLinesBefore{0};
    std::string m_Step, m_FaultStep;
    int m_nResult = 0;
    std::vector<std::string> m_Lines; // from it on: the step's, or all threads'
};

constexpr int FAILURES = 1, TRACES = 2;

using Errors = std::vector<std::pair<int, int>>;

// The errors with which each call of a function fails once, and the log level meanwhile.
const std::map<std::string, Errors> SWEEPS = {
    {"timer_create", {{EAGAIN, TRACES}, {ENOMEM, FAILURES}}},
    {"timer_settime", {{EINVAL, TRACES}, {EINVAL, FAILURES}}},
    {"socket", {{EMFILE, TRACES}, {EACCES, FAILURES}}},
    {"setsockopt", {{EPERM, TRACES}, {ENOPROTOOPT, FAILURES}}},
    {"bind", {{EADDRINUSE, TRACES}, {EACCES, FAILURES}}},
    {"sendto",
     {{ENETUNREACH, TRACES}, {EPERM, FAILURES}, {EAGAIN, TRACES}, {ECONNREFUSED, FAILURES}, {EMSGSIZE, TRACES}}},
    {"recvfrom", {{ECONNREFUSED, TRACES}, {EAGAIN, FAILURES}, {EINTR, TRACES}}},
    {"pthread_create", {{EAGAIN, TRACES}, {EPERM, FAILURES}}},
    {"gettimeofday", {{EFAULT, FAILURES}}},
    {"select", {{EINTR, TRACES}, {EBADF, FAILURES}, {EINVAL, TRACES}}},
};

struct OneCall {
    Fault fault;
    int level;
    std::function<void(FaultyCall&)> body;
};

// In a child. A signal ends it when it hangs; a sanitizer has its say at the exit.
[[noreturn]] void MakeCall(const OneCall& run, FILE* output) {
    dup2(fileno(output), STDOUT_FILENO);
    dup2(fileno(output), STDERR_FILENO);
    setvbuf(stdout, nullptr, _IONBF, 0);
    {
        FaultyCall call(run.fault, run.level);
        alarm(HANG_SECONDS);
        run.body(call);
        printf("\nrow %d calls %u ", call.Row(), platform_faults::calls.load());
    }
    exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

// All at once: they mostly wait. What each printed, its end last.
std::vector<std::string> MakeCalls(const std::vector<OneCall>& runs) {
    std::vector<std::pair<pid_t, FILE*>> children;
    for (const OneCall& run : runs) {
        FILE* const output = tmpfile();
        fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            MakeCall(run, output);
        }
        children.emplace_back(pid, output);
    }
    std::vector<std::string> outputs(runs.size());
    for (size_t i = 0; i < runs.size(); ++i) {
        int status = 0;
        waitpid(children[i].first, &status, 0);
        rewind(children[i].second);
        for (int c = getc(children[i].second); c != EOF; c = getc(children[i].second)) {
            outputs[i] += static_cast<char>(c);
        }
        fclose(children[i].second);
        outputs[i] += "status " + std::to_string(status);
    }
    return outputs;
}

// The row and the calls that a run has printed, if it ended well.
std::pair<int, unsigned> Findings(const std::string& output) {
    std::pair<int, unsigned> found = {NO_ROW, 0};
    int status = -1;
    const size_t at = std::min(output.rfind("\nrow "), output.size());
    sscanf(output.c_str() + at, " row %d calls %u status %d", &found.first, &found.second, &status);
    EXPECT_EQ(0, status) << output;
    return found;
}

// Fails each call of the function, up to the last, with each of the errors; the rows met, at the first level.
std::set<int> Sweep(const std::string& function, const Errors& errors, unsigned last) {
    std::vector<OneCall> runs;
    for (const auto& [error, level] : errors) {
        for (unsigned nth = 1; nth <= last; ++nth) {
            runs.push_back({{function, nth, nth, error}, level, &FaultyCall::Whole});
        }
    }
    const auto outputs = MakeCalls(runs);
    std::set<int> rows;
    for (size_t i = 0; i < runs.size(); ++i) {
        SCOPED_TRACE("call " + std::to_string(i % last + 1) + ", error " + std::to_string(i / last));
        const int row = Findings(outputs[i]).first;
        rows.insert(i < last ? row : NO_ROW);
    }
    return rows;
}

std::vector<int> RowsNotMet(const std::string& function, const std::set<int>& met) {
    const auto table = FaultTable();
    std::vector<int> rows;
    for (size_t row = 0; row < table.size(); ++row) {
        if (table[row].function == function && met.count(static_cast<int>(row)) == 0) {
            rows.push_back(static_cast<int>(row));
        }
    }
    return rows;
}

class PlatformFaults : public testing::TestWithParam<decltype(SWEEPS)::value_type> {};

TEST_P(PlatformFaults, EveryFailureIsToldAndSurvived) {
    const auto& [function, errors] = GetParam();
    const unsigned calls = Findings(MakeCalls({{{function}, TRACES, &FaultyCall::Whole}})[0]).second + SPARE_CALLS;
    std::set<int> rows = Sweep(function, errors, calls);
    for (int sweep = 1; sweep < SWEEPS_AT_MOST && !HasFailure() && !RowsNotMet(function, rows).empty(); ++sweep) {
        rows.merge(Sweep(function, {errors.front()}, calls));
    }
    EXPECT_EQ(std::vector<int>(), RowsNotMet(function, rows)) << "which none of " << calls << " calls had";
}

INSTANTIATE_TEST_SUITE_P(Functions, PlatformFaults, testing::ValuesIn(SWEEPS),
                         [](const auto& sweep) { return sweep.param.first; });

TEST(PlatformFaultsAlone, AClockThatFailsStandsStillAndAMissingRouteEndsWithANewAddress) {
    for (const std::string& output :
         MakeCalls({{{"gettimeofday", 1, UINT_MAX, EFAULT}, TRACES, &FaultyCall::WithoutClock},
                    {{}, TRACES, [](FaultyCall& call) { call.WithoutRoute("240.0.0.1"); }},
                    {{}, TRACES, [](FaultyCall& call) { call.WithoutRoute("::1"); }}})) { // the socket is IPv4
        Findings(output);
    }
}

} // namespace
