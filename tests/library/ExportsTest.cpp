// libVRN.so as a file: what it exports, and that a host which knows only the names can work with it.
#include "api/CorvaneTextEngineClient.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <dlfcn.h>

namespace {

using Lines = std::vector<std::string>;

const char* const SYMBOLS[] = {
    "VRNlogLevel",
    "GetCorvaneTextEngineClient",
    "_ZN23CorvaneTextEngineClient8VRN_InitEv",
    "_ZN23CorvaneTextEngineClient17VRN_CreateChannelEv",
    "_ZN23CorvaneTextEngineClient16VRN_SetSendCodecEiP15stVRN_CodecInfo",
    "_ZN23CorvaneTextEngineClient18VRN_SetSendIPnPortEiPKct",
    "_ZN23CorvaneTextEngineClient18VRN_SetRecvIPnPortEiPKct",
    "_ZN23CorvaneTextEngineClient13VRN_StartFDSREiii",
    "_ZN23CorvaneTextEngineClient12VRN_StopFDSREi",
    "_ZN23CorvaneTextEngineClient17VRN_DeleteChannelEi",
    "_ZN23CorvaneTextEngineClient18VRN_ReconfigIPPortEi",
    "_ZN23CorvaneTextEngineClient15VRN_SetVEStatusEii",
    "_ZN23CorvaneTextEngineClient12VRN_SetNetIdEii",
    "_ZN23CorvaneTextEngineClient17VRN_SetRtcpOnCallEiii",
    "_ZN23CorvaneTextEngineClient18VRN_SetRtcpTimeoutEis",
    "_ZN23CorvaneTextEngineClient18VRN_SetCallOptionsEib",
    "_ZN23CorvaneTextEngineClient12VRN_SendTextEiPcj",
    "_ZN23CorvaneTextEngineClient19VRN_SetEventHandlerEPFviiPvE",
    "_ZN23CorvaneTextEngineClient16VRN_GetLastErrorEv",
};

// What a shell command prints, and its status.
std::pair<Lines, int> RunShell(const std::string& command) {
    Lines lines;
    char line[4096];
    FILE* pipe = popen(command.c_str(), "r");
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        lines.emplace_back(line, strcspn(line, "\n"));
    }
    return {lines, WEXITSTATUS(pclose(pipe))};
}

// A host that is not C++ finds a method by its name, and hands any byte over as a bool.
__attribute__((no_sanitize("undefined"))) void SetCallOptionsByte(int channel, unsigned char byte) {
    using Function = int (*)(CorvaneTextEngineClient*, int, unsigned char);
    void* method = dlsym(RTLD_DEFAULT, "_ZN23CorvaneTextEngineClient18VRN_SetCallOptionsEib");
    reinterpret_cast<Function>(method)(GetCorvaneTextEngineClient(), channel, byte);
}

} // namespace

TEST(Exports, AreTheMethodsTheirGetterAndTheLogLevelAndNothingElse) {
    Lines names;
    for (const std::string& line : RunShell(NM " -D --defined-only --format=posix " LIBRARY).first) {
        names.push_back(line.substr(0, line.find(' ')));
#if !__has_feature(address_sanitizer) // which pads data
        EXPECT_TRUE(names.back() != "VRNlogLevel" || line.substr(line.rfind(' ')) == " 4") << line;
#endif
    }
    EXPECT_THAT(names, testing::UnorderedElementsAreArray(SYMBOLS));
}

TEST(Exports, OfABoolTheLowestBitOfTheByteCounts) {
    CorvaneTextEngineClient* engine = GetCorvaneTextEngineClient();
    engine->VRN_Init();
    const int channel = engine->VRN_CreateChannel();
    for (const unsigned char byte : {0, 1, 2, 3, 0xFE, 0xFF}) {
        LogCapture log;
        SetCallOptionsByte(channel, byte);
        EXPECT_TRUE(log.Has("SetRtcpEnable (" + std::to_string(byte & 1) + "), isEnabled (0)")) << int(byte);
    }
    engine->VRN_DeleteChannel(channel);
}

TEST(PlainHost, FindsLevelFourAndItsLinesOnStandardError) {
    const auto run = RunShell(PLAIN_HOST " 2>&1 >/dev/null");
    EXPECT_EQ(4, run.second);
    EXPECT_THAT(run.first,
                testing::ElementsAre(testing::MatchesRegex("E/.VRN.   \\( *[0-9]+\\): .*::VRN_Init\\(\\): Init\\."),
                                     testing::HasSubstr("VRN_Init: Already initialized")));
}
