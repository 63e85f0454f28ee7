# The engine on a platform that fails. The timers of the thread sanitizer's programs are a library here: a fault passes
# on what it does not fail to the next definition, and the program's own is the fault's.
add_executable(fault_tests faults/PlatformFaultsTest.cpp support/PlatformFaults.cpp)
set_source_files_properties(faults/PlatformFaultsTest.cpp PROPERTIES COMPILE_OPTIONS ${vrn_quickly_compiled})
target_link_libraries(fault_tests PRIVATE vrn_host_fixture vrn_test_support VRN ${CMAKE_DL_LIBS})
if(vrn_timers)
  add_library(vrn_fault_timers SHARED ${vrn_timers})
  target_link_libraries(vrn_fault_timers PRIVATE vrn_flags Threads::Threads)
  target_link_libraries(fault_tests PRIVATE -Wl,--no-as-needed vrn_fault_timers)
endif()
vrn_test_common(fault_tests)
