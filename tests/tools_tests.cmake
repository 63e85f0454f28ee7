# The programs in tools/.
add_executable(vrn_tools_tests
  ${PROJECT_SOURCE_DIR}/tools/call/TypingScript.cpp
  tools/LossyTest.cpp
  tools/ScriptedCallTest.cpp)
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
