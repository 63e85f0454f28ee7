# What the engine is built on (util/, net/), and libVRN.so as a file: its exports, its header, its log.

set(timer_test util/VRNTimerTest.cpp)
vrn_engine_test(util_test
  util/ByteReaderTest.cpp
  util/CTextQueueTest.cpp
  util/TextThreadTest.cpp
  util/VRNClockTest.cpp
  util/VRNListTest.cpp
  util/VRNLogTest.cpp
  ${timer_test})

# The timers again, on the platform's other model of them; under thread sanitizers util_test has that one.
if(NOT VRN_SANITIZE STREQUAL "thread")
  vrn_engine_test(thread_timer_test ${timer_test} support/ThreadTimers.cpp)
  target_compile_definitions(thread_timer_test PRIVATE VRN_THREAD_TIMERS)
else()
  target_compile_definitions(util_test PRIVATE VRN_THREAD_TIMERS)
endif()

vrn_engine_test(net_test net/CSocketTest.cpp net/NetworkRecvTest.cpp support/ManagerStub.cpp)

# A host in C++11 that is compiled and run with nothing of the tests.
add_executable(plain_host library/PlainHost.cpp)
set_target_properties(plain_host PROPERTIES CXX_STANDARD 11)
target_link_libraries(plain_host PRIVATE vrn_flags VRN)

vrn_host_test(library_test library/ExportsTest.cpp library/PlatformLogTest.cpp)
add_dependencies(library_test plain_host)
target_link_libraries(library_test PRIVATE GTest::gmock ${CMAKE_DL_LIBS})
target_compile_definitions(library_test PRIVATE
  NM="${CMAKE_NM}" LIBRARY="$<TARGET_FILE:VRN>" PLAIN_HOST="$<TARGET_FILE:plain_host>")

# The public header under the hosts' compilers.
find_program(VRN_GXX g++)
set(host_compilers ${CMAKE_CXX_COMPILER})
if(VRN_GXX)
  list(APPEND host_compilers ${VRN_GXX})
endif()
foreach(compiler IN LISTS host_compilers)
  get_filename_component(compiler_name ${compiler} NAME)
  foreach(standard 11 20)
    add_test(NAME PublicHeader.CompilesUnder_${compiler_name}_std${standard}
      COMMAND ${compiler} -std=c++${standard} -Wall -Wextra -Wpedantic -Werror -fsyntax-only
        -I${PROJECT_SOURCE_DIR}/api ${CMAKE_CURRENT_SOURCE_DIR}/library/PlainHost.cpp)
  endforeach()
endforeach()

# The README's host, as it stands there: it says hello to itself.
add_executable(minimal_host ${PROJECT_SOURCE_DIR}/examples/minimal_host.cpp ${vrn_timers})
target_link_libraries(minimal_host PRIVATE vrn_flags VRN)
add_test(NAME Readme.ShowsTheMinimalHost
  COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -P ${CMAKE_CURRENT_SOURCE_DIR}/library/ReadmeHost.cmake)
add_test(NAME Readme.MinimalHostIsShownItsOwnText COMMAND minimal_host)
set_tests_properties(Readme.MinimalHostIsShownItsOwnText PROPERTIES PASS_REGULAR_EXPRESSION "H\ne\nl\nl\no\n"
  FAIL_REGULAR_EXPRESSION "Sanitizer")
