// Loads libVRN.so while it runs, as a telephony stack does, and is shown its own text. It is not linked with the library:
// the methods are not virtual, so each is found by its C++ symbol. (Weak references would not do: they are resolved once,
// when the program is loaded.)
#include "CorvaneTextEngineClient.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

static void* Find(void* library, const char* symbol) {
    void* const address = dlsym(library, symbol);
    if (address == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(1);
    }
    return address;
}

// A pointer to a member function that is not virtual is the function's address and what to add to `this`, here nothing
// (Itanium C++ ABI, 2.3, and its 32- and 64-bit Arm variants). The type is taken from the header, so arguments are checked.
template <typename Method> static Method FindMethod(void* library, const char* symbol) {
    const struct {
        void* address;
        std::ptrdiff_t adjustment;
    } pointer = {Find(library, symbol), 0};
    Method method;
    static_assert(sizeof(method) == sizeof(pointer), "pointers to members are of another kind here");
    std::memcpy(&method, &pointer, sizeof(method));
    return method;
}

#define METHOD(name, symbol)                                                                                           \
    const auto name =                                                                                                  \
        FindMethod<decltype(&CorvaneTextEngineClient::name)>(library, "_ZN23CorvaneTextEngineClient" symbol)

static void OnEvent(int, int event, void* data) {
    if (event == VRN_EVENT_TEXT_RECEIVED)
        std::printf("%s\n", static_cast<stVRN_DisplayText*>(data)->pText);
}

int main(int argc, char** argv) {
    void* const library = dlopen(argc > 1 ? argv[1] : "libVRN.so", RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    METHOD(VRN_Init, "8VRN_InitEv");
    METHOD(VRN_SetEventHandler, "19VRN_SetEventHandlerEPFviiPvE");
    METHOD(VRN_CreateChannel, "17VRN_CreateChannelEv");
    METHOD(VRN_SetSendCodec, "16VRN_SetSendCodecEiP15stVRN_CodecInfo");
    METHOD(VRN_SetRecvIPnPort, "18VRN_SetRecvIPnPortEiPKct");
    METHOD(VRN_SetSendIPnPort, "18VRN_SetSendIPnPortEiPKct");
    METHOD(VRN_StartFDSR, "13VRN_StartFDSREiii");
    METHOD(VRN_SendText, "12VRN_SendTextEiPcj");
    METHOD(VRN_DeleteChannel, "17VRN_DeleteChannelEi");
    const auto getEngine =
        reinterpret_cast<decltype(&GetCorvaneTextEngineClient)>(Find(library, "GetCorvaneTextEngineClient"));
    *static_cast<int*>(Find(library, "VRNlogLevel")) = 1; // failures only

    CorvaneTextEngineClient* const engine = getEngine();
    stVRN_CodecInfo codec = {{}, 98, 99, 98, 99, 2};
    (engine->*VRN_Init)();
    (engine->*VRN_SetEventHandler)(OnEvent);
    const int channel = (engine->*VRN_CreateChannel)();
    (engine->*VRN_SetSendCodec)(channel, &codec);
    (engine->*VRN_SetRecvIPnPort)(channel, "127.0.0.1", 5006);
    (engine->*VRN_SetSendIPnPort)(channel, "127.0.0.1", 5006); // talks to itself
    (engine->*VRN_StartFDSR)(channel, VRN_CHANNEL_SENDRECV, 0);
    char text[] = "Hello";
    (engine->*VRN_SendText)(channel, text, sizeof(text) - 1);
    sleep(2);
    const bool deleted = (engine->*VRN_DeleteChannel)(channel) == 1;
    dlclose(library); // which leaves it loaded: its threads may still be ending
    return deleted ? 0 : 1;
}
