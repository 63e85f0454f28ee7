#include "lossy/LossyOptions.h"

#include "common/CommandLine.h"

namespace {

constexpr double ALL = 100;

void AddSide(CLI::App& app, const std::string& option, RelaySide& side) {
    AddEndpoint(app, option + "-here", side.here, "where the relay receives RTP of the " + side.name + " party")
        ->required();
    AddEndpoint(app, option + "-party", side.party, "where the " + side.name + " party itself receives RTP")
        ->required();
    app.add_option(option + "-name", side.name, "what to call the " + side.name + " party")->capture_default_str();
}

} // namespace

bool ReadLossyOptions(int argc, char** argv, LossyOptions& options, int& exitStatus) {
    CLI::App app(
        "A link that loses packets: relays RTP, and RTCP one port higher, between two parties, until SIGINT or "
        "SIGTERM. What is lost follows from the seed, the direction, RTP or RTCP and the packet's number, not "
        "from time. The first RTP packet of a stream and the packet that closes a burst of typing (empty, but "
        "for the oldest text it repeats) get through: no receiver could tell that these are missing.");
    AddSide(app, "--left", options.left);
    AddSide(app, "--right", options.right);
    app.add_option("--loss", options.lossPercent, "percent of the packets lost, in each direction")
        ->check(CLI::Range(0.0, ALL))
        ->type_name("PERCENT")
        ->capture_default_str();
    app.add_option("--seed", options.seed, "which packets are lost")->capture_default_str();
    AddNumber(app, "--red-pt", options.redPayloadType, MAX_PAYLOAD_TYPE, "RTP payload type of RED");
    app.add_flag("--show-losses", options.showLosses, "print each lost packet");
    app.add_option("--report", options.reportPath, "write the counts at the end, for vrn-verdict")->type_name("FILE");
    app.add_option("--pid-file", options.pidPath, "write the process id once packets are relayed")->type_name("FILE");
    app.add_option("--time-zero", options.timeZero, "second since 1970 that times count from; 0 for the start");
    return ParseCommandLine(app, argc, argv, exitStatus);
}
