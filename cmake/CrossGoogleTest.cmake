# For a foreign target there is no GoogleTest to find, so find_package(GTest) builds it from Debian's sources of it.
cmake_minimum_required(VERSION 3.24) # OVERRIDE_FIND_PACKAGE
include(FetchContent)
set(INSTALL_GTEST OFF CACHE BOOL "Not part of this project's installation" FORCE)
FetchContent_Declare(GTest SOURCE_DIR /usr/src/googletest OVERRIDE_FIND_PACKAGE)
