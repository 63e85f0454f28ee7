#include "call/CallOptions.h"
#include "call/EngineLog.h"
#include "call/LiveCall.h"
#include "call/PipedCall.h"
#include "call/ScriptedCall.h"
#include "common/StandardStreams.h"
#include "common/StopSignal.h"

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <langinfo.h>
#include <unistd.h>

namespace {

constexpr int EXIT_CALL_FAILED = 1;
constexpr int EXIT_CANNOT_START = 2;
constexpr double MS_PER_SECOND = 1000;
constexpr int TRACE_LOG_LEVEL = 2; // the engine logs each packet
constexpr int FULL_LOG_LEVEL = 4;

int Complain(const std::string& problem, int exitStatus) {
    fprintf(stderr, "vrn-call: %s\n", problem.c_str());
    return exitStatus;
}

std::string ReadScript(const std::string& path, TypingScript& script) {
    std::ifstream file(path);
    const std::string problem = file ? script.Read(file) : strerror(errno);
    if (file.bad()) { // a directory opens too
        return path + ": " + strerror(errno);
    }
    return problem.empty() ? "" : path + ": " + problem;
}

// T.140 is UTF-8, whatever the environment says of the terminal.
void TakeUtf8Locale() {
    setlocale(LC_CTYPE, "");
    if (strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
        setlocale(LC_CTYPE, "C.UTF-8");
    }
}

// A person sits before it.
bool IsLive(const CallOptions& options) {
    return options.scriptPath.empty() && !options.echo && isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

// Without a log file the lines are dropped, but first they tell of packets and failures.
int LogLevel(const CallOptions& options) {
    return options.logPath.empty() ? FULL_LOG_LEVEL : options.logLevel;
}

bool WriteResult(const std::string& path, const Transcript& transcript) {
    if (path.empty()) {
        return true;
    }
    std::ofstream file(path);
    transcript.Write(file);
    return static_cast<bool>(file.flush());
}

// The call's objects, in the order in which they need each other.
class CallProgram {
public:
    explicit CallProgram(const CallOptions& options)
        : m_Options(options), m_Clock(options.timeZero), m_Inbox(m_Clock), m_Call(m_Inbox) {}

    int Run(const TypingScript& script) {
        const std::string problem = m_Call.Start(m_Options.call);
        if (!problem.empty()) {
            return Complain(problem, EXIT_CANNOT_START);
        }
        const auto lingerMs = static_cast<int64_t>(m_Options.lingerSeconds * MS_PER_SECOND);
        if (IsLive(m_Options)) {
            return RunLive();
        }
        return m_Options.scriptPath.empty() ? RunPiped(lingerMs) : RunScripted(script, lingerMs);
    }

private:
    int RunLive() {
        bool isShown = false;
        CallStatus end;
        {
            LiveCall live(m_Call, m_Inbox, m_Clock, m_Options.call, VRNlogLevel >= TRACE_LOG_LEVEL);
            isShown = live.Run(m_Stop.Fd(), m_Resize);
            end = live.Status();
        }
        // The screen is gone, and the terminal as it was.
        m_Call.End();
        if (!isShown) {
            return Complain("this terminal cannot show a screen (is TERM right?); with pipes none is needed",
                            EXIT_CANNOT_START);
        }
        printf("%s\n", CallSummary(end).c_str());
        return 0;
    }

    int RunPiped(int64_t lingerMs) {
        PipedCall piped(m_Call, m_Inbox, m_Clock, m_Options.echo);
        return piped.Run(lingerMs, m_Stop.Fd()) ? 0 : EXIT_CALL_FAILED;
    }

    int RunScripted(const TypingScript& script, int64_t lingerMs) {
        ScriptedCall scripted(m_Call, m_Inbox, m_Clock, m_Options.name);
        const bool allTyped = scripted.Run(script, lingerMs, m_Stop.Fd());
        m_Call.End();
        if (!WriteResult(m_Options.resultPath, scripted.Result())) {
            return Complain("cannot write " + m_Options.resultPath + ": " + strerror(errno), EXIT_CALL_FAILED);
        }
        return allTyped ? 0 : EXIT_CALL_FAILED;
    }

    const CallOptions& m_Options;
    // Before the engine's threads, which inherit their signal masks.
    const StopSignal m_Stop;
    const SignalFd m_Resize{SIGWINCH};
    const CallClock m_Clock;
    CallInbox m_Inbox;
    TextCall m_Call;
};

} // namespace

int main(int argc, char** argv) {
    OpenStandardStreams();
    CallOptions options;
    int exitStatus = 0;
    if (!ReadCallOptions(argc, argv, options, exitStatus)) {
        return exitStatus;
    }
    TakeUtf8Locale();
    EnginePackets().SetRemoteRtcpPort(options.call.remote.Rtcp().port);
    VRNlogLevel = LogLevel(options);
    if (!options.logPath.empty() && !OpenEngineLog(options.logPath)) {
        return Complain("cannot write " + options.logPath + ": " + strerror(errno), EXIT_CANNOT_START);
    }
    TypingScript script;
    if (!options.scriptPath.empty()) {
        const std::string problem = ReadScript(options.scriptPath, script);
        if (!problem.empty()) {
            return Complain(problem, EXIT_CANNOT_START);
        }
    }
    return CallProgram(options).Run(script);
}
