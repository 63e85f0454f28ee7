# The engine. Its units are compiled once and linked twice: into libVRN.so, and for the tests into a static library
# in which a test puts another unit (a clock moved by hand, say) in an engine unit's place.
add_library(vrn_objects OBJECT
  api/CorvaneTextEngineClient.cpp
  codec/RedPayload.cpp
  codec/T140Codec.cpp
  codec/T140CodecReceive.cpp
  codec/T140CodecSend.cpp
  codec/Utf8.cpp
  control/CSessionPin.cpp
  control/CTextControlManager.cpp
  control/CTextControlManagerDirection.cpp
  control/CTextControlManagerDispatch.cpp
  control/CTextControlManagerSettings.cpp
  control/CTextSessionManager.cpp
  net/CSocket.cpp
  net/NetworkRecv.cpp
  transport/CRTCP.cpp
  transport/CRTP.cpp
  transport/CTextTransportManager.cpp
  transport/CTextTransportManagerReceive.cpp
  transport/CTextTransportManagerRtcp.cpp
  transport/CTextTransportManagerSend.cpp
  util/CTextFeeder.cpp
  util/CTextQueue.cpp
  util/EventScope.cpp
  util/TextThread.cpp
  util/ThreadStart.cpp
  util/VRNClock.cpp
  util/VRNLog.cpp
  util/VRNTimer.cpp)
set_target_properties(vrn_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_include_directories(vrn_objects PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(vrn_objects PRIVATE vrn_flags)
target_compile_options(vrn_objects PRIVATE -fno-exceptions) # nothing here throws
if(ANDROID)
  set(vrn_log log)
else()
  set(vrn_log vrn_platform_log)
  target_include_directories(vrn_objects PUBLIC ${PROJECT_SOURCE_DIR}/platform/include)
endif()

add_library(VRN SHARED $<TARGET_OBJECTS:vrn_objects>)
add_library(VRN::VRN ALIAS VRN) # the name that an installed copy has
target_include_directories(VRN PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/api> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(VRN INTERFACE cxx_std_11)
target_link_libraries(VRN PRIVATE vrn_flags ${vrn_log} Threads::Threads)
target_link_options(VRN PRIVATE ${vrn_shared_link_options}
  -Wl,--as-needed # the compiler names libraries that nothing here uses
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/api/libVRN.map)
# libVRN.so.1 where libraries have versions. Android's loader wants plain names, and CMake gives them there.
set_target_properties(VRN PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(VRN PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/api/libVRN.map
  BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN" BUILD_RPATH_USE_ORIGIN ON)

# The units in an archive, so that those which a test, a simulation or a fuzz target replaces are left out.
if(VRN_BUILD_TESTS)
  add_library(vrn_archive STATIC $<TARGET_OBJECTS:vrn_objects>)
  target_include_directories(vrn_archive PUBLIC ${PROJECT_SOURCE_DIR})
  if(NOT ANDROID)
    target_include_directories(vrn_archive PUBLIC ${PROJECT_SOURCE_DIR}/platform/include)
  endif()
  target_link_libraries(vrn_archive PUBLIC Threads::Threads)
endif()
