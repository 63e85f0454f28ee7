#include "call/CallOptions.h"

#include "common/CallClock.h"
#include "common/CommandLine.h"

namespace {

constexpr unsigned MAX_REDUNDANCY = 15; // an engine reads no more earlier texts in one packet
constexpr double MAX_LINGER_SECONDS = 86400;
constexpr unsigned MAX_TIMEOUT_SECONDS = 32767; // the engine takes a signed 16-bit number

const std::map<std::string, VRN_CHANNEL_STATUS> DIRECTIONS = {{"inactive", VRN_CHANNEL_INACTIVE},
                                                              {"sendonly", VRN_CHANNEL_SENDONLY},
                                                              {"recvonly", VRN_CHANNEL_RECVONLY},
                                                              {"sendrecv", VRN_CHANNEL_SENDRECV}};

void AddDirection(CLI::App& app, VRN_CHANNEL_STATUS& direction) {
    const auto read = [&direction](const std::string& word) {
        const auto found = DIRECTIONS.find(word);
        if (found == DIRECTIONS.end()) {
            throw CLI::ValidationError("--direction", word + " is none of sendrecv, sendonly, recvonly, inactive");
        }
        direction = found->second;
    };
    app.add_option_function<std::string>("--direction", read, "sendrecv (default), sendonly, recvonly or inactive")
        ->type_name("WORD");
}

void AddMediaOptions(CLI::App& app, CallSettings& call) {
    AddEndpoint(app, "--local", call.local, "where this side receives RTP; RTCP is one port higher")->required();
    AddEndpoint(app, "--remote", call.remote, "where the far end receives RTP")->required();
    AddDirection(app, call.direction);
    AddNumber(app, "--redundancy", call.redundancy, MAX_REDUNDANCY,
              "earlier texts repeated in each packet; 0 sends plain T.140");
    AddNumber(app, "--t140-pt", call.t140PayloadType, MAX_PAYLOAD_TYPE, "RTP payload type of plain T.140");
    AddNumber(app, "--red-pt", call.redPayloadType, MAX_PAYLOAD_TYPE, "RTP payload type of RED");
    app.add_option("--net-id", call.netId, "platform network to send on; 0 for none in particular")
        ->capture_default_str();
}

void AddRtcpOptions(CLI::App& app, CallSettings& call) {
    app.add_flag("--rtcp,!--no-rtcp", call.rtcp, "send and expect RTCP reports (default)");
    AddNumber(app, "--rtcp-timeout", call.rtcpTimeoutSeconds, MAX_TIMEOUT_SECONDS,
              "seconds without RTCP that are reported; 0 for never");
}

void AddScriptOptions(CLI::App& app, CallOptions& options) {
    app.add_option("--script", options.scriptPath, "type this script instead of standard input")->type_name("FILE");
    app.add_option("--result", options.resultPath, "write what was typed and shown, for vrn-verdict")
        ->needs("--script")
        ->type_name("FILE");
    app.add_option("--name", options.name, "what to call this side")->needs("--script")->capture_default_str();
    AddQuantity(app, "--time-zero", options.timeZero, 0, LAST_TIME_ZERO,
                "second since 1970 that times count from; 0 for the start")
        ->needs("--script")
        ->type_name("SECONDS");
}

// What is right by itself and wrong beside another option.
void CheckTogether(const CallSettings& call) {
    if (call.local.IsIPv6() != call.remote.IsIPv6()) {
        throw CLI::ValidationError("--remote", "must be IPv4 as --local is, or IPv6 as --local is");
    }
    if (call.t140PayloadType == call.redPayloadType) {
        throw CLI::ValidationError("--red-pt", "must differ from --t140-pt");
    }
}

} // namespace

bool ReadCallOptions(int argc, char** argv, CallOptions& options, int& exitStatus) {
    CLI::App app("A real-time text call over libVRN. On a terminal: a screen with what they type and what you type. "
                 "Otherwise standard input is sent as it comes, received text goes to standard output, events to "
                 "standard error.",
                 "vrn-call");
    AddMediaOptions(app, options.call);
    AddRtcpOptions(app, options.call);
    AddScriptOptions(app, options);
    app.add_flag("--echo", options.echo, "answer each line with the same line, until stopped")->excludes("--script");
    AddQuantity(app, "--linger", options.lingerSeconds, 0, MAX_LINGER_SECONDS,
                "without a terminal: seconds to stay once there is nothing more to type")
        ->type_name("SECONDS");
    app.add_option("--log", options.logPath,
                   "file that the engine's log lines are appended to, with the time of day; none unless given")
        ->type_name("FILE");
    app.add_option(
           "--log-level", options.logLevel,
           "0 nothing, 1 failures, 2 and more everything; below 2 packets are not counted, and an RTCP time-out "
           "may be missed")
        ->needs("--log")
        ->capture_default_str();
    app.final_callback([&options] { CheckTogether(options.call); });
    return ParseCommandLine(app, argc, argv, exitStatus);
}
