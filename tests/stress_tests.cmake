# Threads against the engine. Two programs: with the C library's timers, which thread sanitizers cannot follow, and with
# a thread for each timer, as on the target. A round mostly waits, so a program's rounds are shared out to tests that
# run side by side.
find_package(CLI11 REQUIRED)

add_library(vrn_stress_threads OBJECT stress/Process.cpp stress/StressHost.cpp stress/main.cpp)
set_source_files_properties(stress/main.cpp PROPERTIES COMPILE_OPTIONS ${vrn_quickly_compiled})
target_link_libraries(vrn_stress_threads
  PUBLIC vrn_flags VRN CLI11::CLI11 GTest::gtest Threads::Threads
  PRIVATE vrn_test_support)

function(vrn_stress name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE vrn_stress_threads vrn_host_fixture vrn_test_support)
  foreach(seed RANGE 1 5)
    add_test(NAME ${name}.${seed} COMMAND ${name} --rounds 40 --seed ${seed})
    set_tests_properties(${name}.${seed} PROPERTIES TIMEOUT 240 LABELS stress)
  endforeach()
endfunction()

if(NOT VRN_SANITIZE STREQUAL "thread")
  vrn_stress(stress)
endif()
vrn_stress(stress_thread_timers support/ThreadTimers.cpp)
