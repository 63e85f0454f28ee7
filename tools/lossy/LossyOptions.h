// vrn-lossy's command line.
#ifndef TOOLS_LOSSY_LOSSY_OPTIONS_H
#define TOOLS_LOSSY_LOSSY_OPTIONS_H

#include "common/Endpoint.h"
#include "lossy/LossPattern.h"

// One of the two parties.
struct RelaySide {
    std::string name;
    Endpoint here;  // where the relay receives from the party: the party's remote address
    Endpoint party; // the party's own address
};

struct LossyOptions {
    RelaySide left{"left", {}, {}};
    RelaySide right{"right", {}, {}};
    LinkConditions link;
    unsigned redPayloadType = 100;
    bool showLosses = false;
    std::string reportPath;  // empty: none is written
    std::string pidPath;     // empty: none is written
    std::string capturePath; // empty: none is written
    double timeZero = 0;     // seconds since 1970 that time stamps count from; 0: the start
};

// True when the options hold. Otherwise what there is to say has been said (a mistake, the help) and `exitStatus` is
// what main returns.
bool ReadLossyOptions(int argc, char** argv, LossyOptions& options, int& exitStatus);

#endif
