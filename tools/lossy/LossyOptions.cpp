#include "lossy/LossyOptions.h"

#include "common/CallClock.h"
#include "common/CommandLine.h"

#include <charconv>

namespace {

constexpr double ALL = 100;
constexpr double LONGEST_BURST = 1000;
constexpr unsigned LONGEST_DELAY_MS = 60000;

void AddSide(CLI::App& app, const std::string& option, RelaySide& side) {
    AddEndpoint(app, option + "-here", side.here, "where the relay receives RTP of the " + side.name + " party")
        ->required();
    AddEndpoint(app, option + "-party", side.party, "where the " + side.name + " party itself receives RTP")
        ->required();
    app.add_option(option + "-name", side.name, "what to call the " + side.name + " party")->capture_default_str();
}

void AddPercent(CLI::App& app, const std::string& option, double& percent, const std::string& help) {
    AddQuantity(app, option, percent, 0, ALL, help)->type_name("PERCENT");
}

// The library would take -1 and what is too long for some other seed.
std::string SeedProblem(const std::string& text) {
    uint64_t seed = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), seed);
    const bool isSeed = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return isSeed ? "" : "Value " + text + " not in range 0 to " + std::to_string(UINT64_MAX);
}

void AddConditions(CLI::App& app, LinkConditions& link) {
    AddPercent(app, "--loss", link.lossPercent, "percent of the packets lost, in each direction");
    AddQuantity(app, "--burst", link.burst, 1, LONGEST_BURST,
                "mean length of a run of losses; 1: each packet for itself")
        ->type_name("PACKETS");
    AddNumber(app, "--delay", link.delayMs, LONGEST_DELAY_MS, "milliseconds that each packet takes");
    AddNumber(app, "--jitter", link.jitterMs, LONGEST_DELAY_MS, "milliseconds more, up to this, each packet its own");
    AddPercent(app, "--duplicate", link.duplicatePercent, "percent of the packets that come twice");
    AddPercent(app, "--reorder", link.reorderPercent,
               "percent of the packets held back for " + std::to_string(LossPattern::MIN_HELD_BACK_MS) + " to " +
                   std::to_string(LossPattern::MAX_HELD_BACK_MS) + " ms more, so that others overtake them");
    app.add_option("--seed", link.seed, "which packets are lost, duplicated, held back")
        ->check(SeedProblem)
        ->capture_default_str();
}

} // namespace

bool ReadLossyOptions(int argc, char** argv, LossyOptions& options, int& exitStatus) {
    CLI::App app("A bad link: relays RTP, and RTCP one port higher, between two parties, until SIGINT or SIGTERM. What "
                 "becomes of a packet follows from the seed, the direction, RTP or RTCP and the packet's number, not "
                 "from time. The first RTP packet of a stream and the packet that closes a burst of typing (empty, but "
                 "for the oldest text it repeats) get through: no receiver could tell that these are missing.",
                 "vrn-lossy");
    AddSide(app, "--left", options.left);
    AddSide(app, "--right", options.right);
    AddConditions(app, options.link);
    AddNumber(app, "--red-pt", options.redPayloadType, MAX_PAYLOAD_TYPE, "RTP payload type of RED");
    app.add_flag("--show-losses", options.showLosses, "print each lost packet");
    app.add_option("--report", options.reportPath, "write the counts at the end, for vrn-verdict")->type_name("FILE");
    app.add_option("--capture", options.capturePath,
                   "write every packet as it came in, lost ones too, for Wireshark and tshark (pcap)")
        ->type_name("FILE");
    app.add_option("--pid-file", options.pidPath, "write the process id once packets are relayed")->type_name("FILE");
    AddQuantity(app, "--time-zero", options.timeZero, 0, LAST_TIME_ZERO,
                "second since 1970 that times count from; 0 for the start")
        ->type_name("SECONDS");
    return ParseCommandLine(app, argc, argv, exitStatus);
}
