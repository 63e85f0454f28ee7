// libVRN.so as a file: what a host is compiled against, how it is linked, and that a host which knows only the names can
// work with it.
#include "api/CorvaneTextEngineClient.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <regex>
#include <set>
#include <typeinfo>

#define VRN_SANITIZED (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))

namespace {

using Lines = std::vector<std::string>;

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

// The list kept in the tree, without its remarks.
Lines KeptAbi() {
    Lines lines;
    std::ifstream file(ABI_LIST);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.front() != '#') {
            lines.push_back(line);
        }
    }
    return lines;
}

void AppendExports(Lines& lines) {
    for (const std::string& line : RunShell(NM " -D --defined-only --format=posix " LIBRARY).first) {
        lines.push_back("export " + line.substr(0, line.find(' ')));
#if !__has_feature(address_sanitizer) // which pads data
        EXPECT_TRUE(lines.back() != "export VRNlogLevel" || line.substr(line.rfind(' ')) == " 4") << line;
#endif
    }
}

#define SIZE(type) "size " #type " " + std::to_string(sizeof(type))
#define FIELD(record, field)                                                                                           \
    "field " #record "." #field " at " + std::to_string(offsetof(record, field)) + " size " +                          \
        std::to_string(sizeof(record::field)) + " type " + typeid(decltype(record::field)).name()
#define VALUE(name) "value " #name " " + std::to_string(name)

// Compiles only while the records have as many fields as the list: one more could hide in padding.
[[maybe_unused]] void HaveFieldsAsListed(stVRN_CodecInfo codec, stVRN_DisplayText text) {
    [[maybe_unused]] const auto& [reserved, recvT140, recvRed, sendT140, sendRed, level] = codec;
    [[maybe_unused]] const auto& [bytes, count] = text;
}

// Neither is a method's result in its name.
using Engine = CorvaneTextEngineClient;
template <typename Result, typename... Arguments> Result ResultOf(Result (Engine::*)(Arguments...));
template <auto... methods> constexpr bool ALL_RETURN_INT = (std::is_same_v<int, decltype(ResultOf(methods))> && ...);
static_assert(
    ALL_RETURN_INT<
        &Engine::VRN_Init, &Engine::VRN_CreateChannel, &Engine::VRN_SetSendCodec, &Engine::VRN_SetSendIPnPort,
        &Engine::VRN_SetRecvIPnPort, &Engine::VRN_StartFDSR, &Engine::VRN_StopFDSR, &Engine::VRN_DeleteChannel,
        &Engine::VRN_ReconfigIPPort, &Engine::VRN_SetVEStatus, &Engine::VRN_SetNetId, &Engine::VRN_SetRtcpOnCall,
        &Engine::VRN_SetRtcpTimeout, &Engine::VRN_SetCallOptions, &Engine::VRN_SendText, &Engine::VRN_GetLastError>);
static_assert(std::is_same_v<void, decltype(ResultOf(&Engine::VRN_SetEventHandler))>);
static_assert(std::is_same_v<Engine*, decltype(GetCorvaneTextEngineClient())>);

void AppendRecords(Lines& lines) {
    const Lines records = {
        SIZE(CorvaneTextEngineClient),
        SIZE(VRNEventHandler),
        SIZE(VRNlogLevel),
        SIZE(stVRN_CodecInfo),
        FIELD(stVRN_CodecInfo, reserved),
        FIELD(stVRN_CodecInfo, nRecvT140PayloadType),
        FIELD(stVRN_CodecInfo, nRecvRedPayloadType),
        FIELD(stVRN_CodecInfo, nSendT140PayloadType),
        FIELD(stVRN_CodecInfo, nSendRedPayloadType),
        FIELD(stVRN_CodecInfo, nRedundancyLevel),
        SIZE(stVRN_DisplayText),
        FIELD(stVRN_DisplayText, pText),
        FIELD(stVRN_DisplayText, nLen),
        SIZE(VRN_CHANNEL_STATUS),
        VALUE(VRN_CHANNEL_INACTIVE),
        VALUE(VRN_CHANNEL_SENDONLY),
        VALUE(VRN_CHANNEL_RECVONLY),
        VALUE(VRN_CHANNEL_SENDRECV),
        SIZE(VRN_EVENT_ID),
        VALUE(VRN_EVENT_TEXT_RECEIVED),
        VALUE(VRN_EVENT_RTCP_TIMEOUT),
    };
    lines.insert(lines.end(), records.begin(), records.end());
}

const char* const FILE_ENTRIES[] = {
#if defined(__x86_64__) // elsewhere linkers put it with the code
    "LOAD R 0x4000",
#endif
    "LOAD R E 0x4000",
    "LOAD RW 0x4000",
    "GNU_STACK RW 0x10",
    "GNU_RELRO R 0x1",
    "SONAME [libVRN.so.1]",
    "FLAGS BIND_NOW",
    "FLAGS_1 NOW NODELETE",
#if !VRN_SANITIZED
    "NEEDED [libvrn_platform_log.so]",
    "NEEDED [libstdc++.so.6]",
    "NEEDED [libc.so.6]",
#endif
};

// The sanitizers' runtimes are libraries, too; the loader has another name on each architecture.
bool IsCompared(const std::string& line) {
    return line.find("(NEEDED)") == std::string::npos || (!VRN_SANITIZED && line.find("ld-linux") == std::string::npos);
}

// A host that is not C++ finds a method by its name, and hands any byte over as a bool.
__attribute__((no_sanitize("undefined"))) void SetCallOptionsByte(int channel, unsigned char byte) {
    using Function = int (*)(CorvaneTextEngineClient*, int, unsigned char);
    void* method = dlsym(RTLD_DEFAULT, "_ZN23CorvaneTextEngineClient18VRN_SetCallOptionsEib");
    reinterpret_cast<Function>(method)(GetCorvaneTextEngineClient(), channel, byte);
}

} // namespace

TEST(Abi, IsWhatTheListInTheTreeSays) {
    Lines lines;
    AppendExports(lines);
    AppendRecords(lines);
    EXPECT_THAT(lines, testing::UnorderedElementsAreArray(KeptAbi()));
}

// A text relocation, a segment that is written and run, or a library that not every phone has would each add an entry.
TEST(LibraryFile, IsLaidOutAndLinkedForThePhone) {
    const std::regex segment(" +(LOAD|GNU_STACK|GNU_RELRO) +(?:0x\\w+ +){5}(.*\\S) +(0x\\w+)");
    const std::regex dynamic(".*\\((NEEDED|SONAME|FLAGS|FLAGS_1|TEXTREL)\\) +(?:.*: )?(.*?) *");
    std::set<std::string> found;
    for (const std::string& line : RunShell(READELF " -dlW " LIBRARY).first) {
        std::smatch match;
        if (std::regex_match(line, match, segment)) {
            found.insert(match.str(1) + " " + match.str(2) + " " + match.str(3));
        } else if (std::regex_match(line, match, dynamic) && IsCompared(line)) {
            found.insert(match.str(1) + " " + match.str(2));
        }
    }
    EXPECT_THAT(found, testing::UnorderedElementsAreArray(FILE_ENTRIES));
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
