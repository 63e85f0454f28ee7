#include "call/CallOptions.h"
#include "call/EngineLog.h"
#include "call/PipedCall.h"
#include "call/ScriptedCall.h"
#include "common/StopSignal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace {

constexpr int EXIT_CALL_FAILED = 1;
constexpr int EXIT_CANNOT_START = 2;
constexpr double MS_PER_SECOND = 1000;

int Complain(const std::string& problem, int exitStatus) {
    fprintf(stderr, "vrn-call: %s\n", problem.c_str());
    return exitStatus;
}

std::string ReadScript(const std::string& path, TypingScript& script) {
    std::ifstream file(path);
    const std::string problem = file ? script.Read(file) : strerror(errno);
    return problem.empty() ? "" : path + ": " + problem;
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
        return m_Options.scriptPath.empty() ? RunPiped(lingerMs) : RunScripted(script, lingerMs);
    }

private:
    int RunPiped(int64_t lingerMs) {
        PipedCall piped(m_Call, m_Inbox, m_Clock);
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
    const StopSignal m_Stop; // before the engine's threads, which inherit its signal mask
    const CallClock m_Clock;
    CallInbox m_Inbox;
    TextCall m_Call;
};

} // namespace

int main(int argc, char** argv) {
    CallOptions options;
    int exitStatus = 0;
    if (!ReadCallOptions(argc, argv, options, exitStatus)) {
        return exitStatus;
    }
    VRNlogLevel = options.logPath.empty() ? 0 : options.logLevel;
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
