# The programs in tools/.
add_executable(vrn_tools_tests
  ${PROJECT_SOURCE_DIR}/tools/call/CallStatus.cpp
  ${PROJECT_SOURCE_DIR}/tools/call/PacketCounter.cpp
  ${PROJECT_SOURCE_DIR}/tools/call/ScreenText.cpp
  ${PROJECT_SOURCE_DIR}/tools/call/TypingScript.cpp
  tools/LossyTest.cpp
  tools/ScreenTextTest.cpp
  tools/ScriptedCallTest.cpp)
target_include_directories(vrn_tools_tests PRIVATE ${PROJECT_SOURCE_DIR}/api)
target_link_libraries(vrn_tools_tests PRIVATE vrn_flags vrn_lossy_core vrn_verdict_core GTest::gtest_main)
gtest_discover_tests(vrn_tools_tests DISCOVERY_MODE PRE_TEST)

# The whole of it: two processes, the lossy link between them, every character held against what was typed, nothing
# leaked. ./run makes the same call without the sanitizer; the thread sanitizer cannot follow the C library's timers.
if(VRN_SANITIZE STREQUAL "address")
  add_test(NAME ScriptedCall.EachPartyIsShownWhatTheOtherTyped
    COMMAND ${PROJECT_SOURCE_DIR}/tools/demo/demo.sh ${PROJECT_BINARY_DIR})
  set_tests_properties(ScriptedCall.EachPartyIsShownWhatTheOtherTyped PROPERTIES
    TIMEOUT 120
    COST 1000) # takes longest, so it is started first
endif()

# vrn-call's screen, in a terminal. In one preset: what it waits for is the same in all.
if(NOT VRN_SANITIZE AND CMAKE_BUILD_TYPE STREQUAL "Release")
  add_test(NAME LiveScreen.ShowsACallInATerminal
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tools/live_screen.sh ${PROJECT_BINARY_DIR})
  set_tests_properties(LiveScreen.ShowsACallInATerminal PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 240 COST 1000)
endif()

# What is on the wire, as a program sees it that is not ours. In one preset: the bytes are the same in all.
if(NOT VRN_SANITIZE AND NOT CMAKE_CROSSCOMPILING AND CMAKE_BUILD_TYPE STREQUAL "Release")
  add_test(NAME Wire.TsharkReadsWhatWasTyped
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tools/wire_check.py ${PROJECT_BINARY_DIR})
  set_tests_properties(Wire.TsharkReadsWhatWasTyped PROPERTIES TIMEOUT 240 COST 1000)
endif()
