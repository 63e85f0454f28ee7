// vrn-call's command line.
#ifndef TOOLS_CALL_CALL_OPTIONS_H
#define TOOLS_CALL_CALL_OPTIONS_H

#include "call/TextCall.h"

struct CallOptions {
    CallSettings call;
    std::string logPath; // empty: the engine's lines are dropped
    int logLevel = 4;
    bool echo = false;
    double lingerSeconds = 3; // how long to stay once there is no more to type
    // For a scripted call.
    std::string scriptPath; // empty: standard input is typed
    std::string resultPath; // empty: no result is written
    std::string name = "This side";
    double timeZero = 0; // seconds since 1970 that time stamps and the script count from; 0: the start
};

// True when the options hold. Otherwise what there is to say has been said (a mistake, the help) and `exitStatus` is
// what main returns.
bool ReadCallOptions(int argc, char** argv, CallOptions& options, int& exitStatus);

#endif
