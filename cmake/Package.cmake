# What `cmake --install` lays down: the library, its header, and two ways to find them, find_package(VRN) and pkg-config.
# Every path in them is relative, so that an installed copy can be moved.
include(CMakePackageConfigHelpers)

set(vrn_installed VRN)
if(NOT ANDROID)
  list(APPEND vrn_installed vrn_platform_log) # libVRN.so looks for it beside itself
endif()
install(TARGETS ${vrn_installed} EXPORT VRN LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/api/CorvaneTextEngineClient.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

write_basic_package_version_file(${PROJECT_BINARY_DIR}/VRNConfigVersion.cmake COMPATIBILITY SameMajorVersion)
set(vrn_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VRN)
install(EXPORT VRN NAMESPACE VRN:: FILE VRNConfig.cmake DESTINATION ${vrn_package_dir})
install(FILES ${PROJECT_BINARY_DIR}/VRNConfigVersion.cmake DESTINATION ${vrn_package_dir})

file(RELATIVE_PATH vrn_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/VRN.pc.in ${PROJECT_BINARY_DIR}/VRN.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/VRN.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
