#include "CorvaneTextEngineClient.h"
#include <cstdio>
#include <unistd.h>

static void OnEvent(int, int event, void* data) {
    if (event == VRN_EVENT_TEXT_RECEIVED)
        std::printf("%s\n", static_cast<stVRN_DisplayText*>(data)->pText);
}

int main() {
    CorvaneTextEngineClient* engine = GetCorvaneTextEngineClient();
    stVRN_CodecInfo codec = {{}, 98, 99, 98, 99, 2}; // T.140 as 98, RED as 99, two generations
    engine->VRN_Init();
    engine->VRN_SetEventHandler(OnEvent);
    const int channel = engine->VRN_CreateChannel();
    engine->VRN_SetSendCodec(channel, &codec);
    engine->VRN_SetRecvIPnPort(channel, "127.0.0.1", 5004);
    engine->VRN_SetSendIPnPort(channel, "127.0.0.1", 5004); // talks to itself
    engine->VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0);
    char text[] = "Hello";
    engine->VRN_SendText(channel, text, sizeof(text) - 1);
    sleep(2);
    return engine->VRN_DeleteChannel(channel) == 1 ? 0 : 1;
}
