#include <CorvaneTextEngineClient.h>

int main() {
    VRNlogLevel = 1;
    CorvaneTextEngineClient* engine = GetCorvaneTextEngineClient();
    const bool works = engine->VRN_Init() == 0 && engine->VRN_CreateChannel() == 0 && engine->VRN_DeleteChannel(0) == 1;
    return works ? 0 : 1;
}
