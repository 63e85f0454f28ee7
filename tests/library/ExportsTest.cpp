// libVRN.so as a file: what it exports, and that a host which knows only the names can work with it.
#include "api/CorvaneTextEngineClient.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <dlfcn.h>

namespace {

using testing::HasSubstr;
using Lines = std::vector<std::string>;

const Lines METHODS = {
    "_ZN23CorvaneTextEngineClient12VRN_SendTextEiPcj",
    "_ZN23CorvaneTextEngineClient12VRN_SetNetIdEii",
    "_ZN23CorvaneTextEngineClient12VRN_StopFDSREi",
    "_ZN23CorvaneTextEngineClient13VRN_StartFDSREiii",
    "_ZN23CorvaneTextEngineClient15VRN_SetVEStatusEii",
    "_ZN23CorvaneTextEngineClient16VRN_GetLastErrorEv",
    "_ZN23CorvaneTextEngineClient16VRN_SetSendCodecEiP15stVRN_CodecInfo",
    "_ZN23CorvaneTextEngineClient17VRN_CreateChannelEv",
    "_ZN23CorvaneTextEngineClient17VRN_DeleteChannelEi",
    "_ZN23CorvaneTextEngineClient17VRN_SetRtcpOnCallEiii",
    "_ZN23CorvaneTextEngineClient18VRN_ReconfigIPPortEi",
    "_ZN23CorvaneTextEngineClient18VRN_SetCallOptionsEib",
    "_ZN23CorvaneTextEngineClient18VRN_SetRecvIPnPortEiPKct",
    "_ZN23CorvaneTextEngineClient18VRN_SetRtcpTimeoutEis",
    "_ZN23CorvaneTextEngineClient18VRN_SetSendIPnPortEiPKct",
    "_ZN23CorvaneTextEngineClient19VRN_SetEventHandlerEPFviiPvE",
    "_ZN23CorvaneTextEngineClient8VRN_InitEv",
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

// A function found by its name, whatever its type is said to be.
template <typename Function> Function Named(const std::string& name) {
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// A host that is not C++ hands any byte over as a bool.
__attribute__((no_sanitize("undefined"))) int SetCallOptionsByte(int channel, unsigned char byte) {
    using Function = int (*)(CorvaneTextEngineClient*, int, unsigned char);
    return Named<Function>("_ZN23CorvaneTextEngineClient18VRN_SetCallOptionsEib")(GetCorvaneTextEngineClient(), channel,
                                                                                  byte);
}

} // namespace

TEST(Exports, AreTheMethodsTheirGetterAndTheLogLevelAndNothingElse) {
    Lines expected = {"GetCorvaneTextEngineClient T", "VRNlogLevel D"};
    for (const std::string& name : METHODS) {
        expected.push_back(name + " T");
    }
    Lines exported;
    std::string size;
    for (const std::string& line : RunShell(NM " -D --defined-only --format=posix " LIBRARY).first) {
        exported.push_back(line.substr(0, line.find(' ') + 2)); // name and type; value and size follow
        size = line.rfind("VRNlogLevel", 0) == 0 ? line.substr(line.rfind(' ') + 1) : size;
    }
    EXPECT_THAT(exported, testing::UnorderedElementsAreArray(expected));
#if !__has_feature(address_sanitizer) // which pads data
    EXPECT_EQ(4, std::stoi(size, nullptr, 16));
#endif
}

TEST(Exports, AreFoundByNameInTheOpenedLibrary) {
    void* library = dlopen(LIBRARY, RTLD_NOW);
    ASSERT_NE(nullptr, library) << dlerror();
    EXPECT_EQ(&VRNlogLevel, Named<int*>("VRNlogLevel"));
    const auto get = Named<CorvaneTextEngineClient* (*)()>("GetCorvaneTextEngineClient");
    ASSERT_EQ(GetCorvaneTextEngineClient(), get());
    const auto init = Named<int (*)(CorvaneTextEngineClient*)>("_ZN23CorvaneTextEngineClient8VRN_InitEv");
    init(get());
    EXPECT_EQ(-1, init(get())) << "called by name, the engine is not the same one";
    dlclose(library);
}

TEST(Exports, TheLogLevelIsTheHostsToWrite) {
    CorvaneTextEngineClient* engine = GetCorvaneTextEngineClient();
    engine->VRN_Init();
    const std::string trace = "CorvaneTextEngineClient::VRN_Init(): Init.";
    const std::string failure =
        "CorvaneTextEngineClient::VRN_Init(): VRN_Init: Already initialized. Terminate it first.";
    const struct {
        int level;
        Lines lines;
    } table[] = {{INT_MIN, {}}, {0, {}}, {1, {failure}}, {2, {trace, failure}}, {4, {trace, failure}}};
    for (const auto& row : table) {
        LogCapture log;
        VRNlogLevel = row.level;
        engine->VRN_Init();
        EXPECT_EQ(row.lines, log.Lines()) << row.level;
    }
    VRNlogLevel = 4;
}

TEST(Exports, OfABoolTheLowestBitOfTheByteCounts) {
    CorvaneTextEngineClient* engine = GetCorvaneTextEngineClient();
    engine->VRN_Init();
    const int channel = engine->VRN_CreateChannel();
    for (const unsigned char byte : {0, 1, 2, 3, 0xFE, 0xFF}) {
        LogCapture log;
        // RTCP is off: switching it off is done, switching it on needs a start first.
        EXPECT_EQ((byte & 1) == 0 ? 1 : -1, SetCallOptionsByte(channel, byte)) << int(byte);
        const std::string expected = "SetRtcpEnable (" + std::to_string(byte & 1) + "), isEnabled (0)";
        EXPECT_TRUE(log.Has("CTextTransportManager::SetRtcpEnable(): " + expected)) << int(byte);
    }
    engine->VRN_DeleteChannel(channel);
}

TEST(PlainHost, FindsLevelFourAndItsLinesOnStandardError) {
    const auto run = RunShell(PLAIN_HOST " 2>&1 >/dev/null");
    EXPECT_EQ(4, run.second);
    ASSERT_EQ(2U, run.first.size()) << "a trace and a failure line";
    EXPECT_THAT(run.first[0], testing::MatchesRegex(
                                  "E/\\[VRN\\]   \\( *[0-9]+\\): CorvaneTextEngineClient::VRN_Init\\(\\): Init\\."));
    EXPECT_THAT(run.first[1], HasSubstr("VRN_Init: Already initialized"));
}
