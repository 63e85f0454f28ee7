#include "call/CallOptions.h"

#include "common/CommandLine.h"

namespace {

constexpr unsigned MAX_REDUNDANCY = 15;         // an engine reads no more earlier texts in one packet
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
    app.add_option("--result", options.resultPath, "with --script: write what was typed and shown, for vrn-verdict")
        ->type_name("FILE");
    app.add_option("--name", options.name, "with --script: what to call this side")->capture_default_str();
    app.add_option("--time-zero", options.timeZero, "second since 1970 that times count from; 0 for the start");
}

} // namespace

bool ReadCallOptions(int argc, char** argv, CallOptions& options, int& exitStatus) {
    CLI::App app("A real-time text call over libVRN. Standard input is sent as it comes, received text goes to "
                 "standard output, events to standard error.");
    AddMediaOptions(app, options.call);
    AddRtcpOptions(app, options.call);
    AddScriptOptions(app, options);
    app.add_option("--linger", options.lingerSeconds, "seconds to stay once there is nothing more to type")
        ->check(CLI::NonNegativeNumber)
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_option("--log", options.logPath, "file that the engine's log lines are appended to")->type_name("FILE");
    app.add_option("--log-level", options.logLevel, "with --log: 0 nothing, 1 failures, 2 and more everything")
        ->capture_default_str();
    return ParseCommandLine(app, argc, argv, exitStatus);
}
