# A host's view of the engine, over UDP on loopback.
vrn_host_test(host_tests
  host/HostChannelsTest.cpp
  host/HostEventsTest.cpp
  host/HostLifecycleTest.cpp
  host/HostLogTest.cpp
  host/HostTextTest.cpp)
target_link_libraries(host_tests PRIVATE vrn_host_fixture)
