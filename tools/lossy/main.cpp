#include "common/StandardStreams.h"
#include "common/StopSignal.h"
#include "lossy/Relay.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>

namespace {

constexpr int EXIT_CANNOT_WRITE = 1;
constexpr int EXIT_CANNOT_START = 2;

int Complain(const std::string& problem, int exitStatus) {
    fprintf(stderr, "vrn-lossy: %s\n", problem.c_str());
    return exitStatus;
}

// errno has the reason.
int ComplainOfFile(const std::string& path, int exitStatus) {
    return Complain("cannot write " + path + ": " + strerror(errno), exitStatus);
}

bool WritePid(const std::string& path) {
    std::ofstream file(path);
    file << getpid() << '\n';
    return static_cast<bool>(file.flush());
}

bool WriteReport(const std::string& path, const RelayReport& report, const RelayAccounts& accounts) {
    std::ofstream file(path);
    report.WriteForProgram(accounts, file);
    return static_cast<bool>(file.flush());
}

} // namespace

int main(int argc, char** argv) {
    OpenStandardStreams();
    LossyOptions options;
    int exitStatus = 0;
    if (!ReadLossyOptions(argc, argv, options, exitStatus)) {
        return exitStatus;
    }
    const StopSignal stop;
    const CallClock clock(options.timeZero);
    const RelayReport report(options, clock);
    PcapFile capture;
    if (!options.capturePath.empty() && !capture.Open(options.capturePath)) {
        return ComplainOfFile(options.capturePath, EXIT_CANNOT_START);
    }
    Relay relay(options, report, capture);
    const std::string problem = relay.Open();
    if (!problem.empty()) {
        return Complain(problem, EXIT_CANNOT_START);
    }
    if (!options.pidPath.empty() && !WritePid(options.pidPath)) {
        return ComplainOfFile(options.pidPath, EXIT_CANNOT_START);
    }
    relay.Run(stop.Fd());
    report.PrintForPerson(relay.Accounts());
    if (!options.reportPath.empty() && !WriteReport(options.reportPath, report, relay.Accounts())) {
        return ComplainOfFile(options.reportPath, EXIT_CANNOT_WRITE);
    }
    if (!capture.Ok()) {
        return Complain(options.capturePath + " lacks packets that could not be written", EXIT_CANNOT_WRITE);
    }
    return 0;
}
