// The smallest host: C++11, the public header before all else, no log of its own. Logs two lines, a trace and a
// failure, and answers with the log level it found.
#include "CorvaneTextEngineClient.h"

int main() {
    CorvaneTextEngineClient* engine = GetCorvaneTextEngineClient();
    const int level = VRNlogLevel;
    engine->VRN_Init();
    VRNlogLevel = 1;
    engine->VRN_Init();
    return level;
}
