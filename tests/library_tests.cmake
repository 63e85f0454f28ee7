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
set_source_files_properties(library/ExportsTest.cpp PROPERTIES COMPILE_OPTIONS ${vrn_quickly_compiled})
add_dependencies(library_test plain_host)
target_link_libraries(library_test PRIVATE GTest::gmock ${CMAKE_DL_LIBS})
target_compile_definitions(library_test PRIVATE
  NM="${CMAKE_NM}" READELF="${CMAKE_READELF}" ABI_LIST="${CMAKE_CURRENT_SOURCE_DIR}/library/abi.txt"
  LIBRARY="$<TARGET_FILE:VRN>" PLAIN_HOST="$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR};$<TARGET_FILE:plain_host>, >")

# The public header and the papers' snippets under the hosts' compilers. They compile for this machine, so not where a
# foreign target is built.
find_program(VRN_GXX g++)
set(host_compilers "")
if(NOT CMAKE_CROSSCOMPILING)
  set(host_compilers ${CMAKE_CXX_COMPILER})
  if(VRN_GXX)
    list(APPEND host_compilers ${VRN_GXX})
  endif()
endif()
foreach(compiler IN LISTS host_compilers)
  get_filename_component(compiler_name ${compiler} NAME)
  foreach(standard 11 20)
    add_test(NAME PublicHeader.CompilesUnder_${compiler_name}_std${standard}
      COMMAND ${compiler} -std=c++${standard} -Wall -Wextra -Wpedantic -Werror -fsyntax-only
        -I${PROJECT_SOURCE_DIR}/api ${CMAKE_CURRENT_SOURCE_DIR}/library/PlainHost.cpp)
  endforeach()
  add_test(NAME Papers.SnippetsCompileUnder_${compiler_name}
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/library/paper-snippets.sh ${compiler} ${PROJECT_SOURCE_DIR}
      ${CMAKE_CURRENT_BINARY_DIR}/paper-snippets-${compiler_name})
endforeach()

# The README's host, as it stands there: it says hello to itself.
add_executable(minimal_host ${PROJECT_SOURCE_DIR}/examples/minimal_host.cpp ${vrn_timers})
target_link_libraries(minimal_host PRIVATE vrn_flags VRN)
add_test(NAME Readme.ShowsTheMinimalHost
  COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -P ${CMAKE_CURRENT_SOURCE_DIR}/library/ReadmeHost.cmake)
add_test(NAME Readme.MinimalHostIsShownItsOwnText COMMAND minimal_host)

# The host that loads the library while it runs: it says hello to itself, too.
add_executable(dlopen_host ${PROJECT_SOURCE_DIR}/examples/dlopen_host.cpp ${vrn_timers})
add_dependencies(dlopen_host VRN)
target_include_directories(dlopen_host PRIVATE ${PROJECT_SOURCE_DIR}/api)
target_link_libraries(dlopen_host PRIVATE vrn_flags Threads::Threads ${CMAKE_DL_LIBS})
set_target_properties(dlopen_host PROPERTIES ENABLE_EXPORTS ON) # the timers that it may bring
add_test(NAME DlopenHost.IsShownItsOwnText COMMAND dlopen_host $<TARGET_FILE:VRN>)
set_tests_properties(Readme.MinimalHostIsShownItsOwnText DlopenHost.IsShownItsOwnText PROPERTIES
  PASS_REGULAR_EXPRESSION "H\ne\nl\nl\no\n" FAIL_REGULAR_EXPRESSION "Sanitizer")

# An installed copy, and a project outside this tree that finds it. Not under a sanitizer, whose runtime a host would
# have to bring.
if(NOT VRN_SANITIZE)
  set(package ${CMAKE_CURRENT_BINARY_DIR}/package)
  set(consumer ${CMAKE_CURRENT_SOURCE_DIR}/library/consumer)
  add_test(NAME Package.IsInstalled COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -DPACKAGE=${package}
    -DLIBRARY=${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:VRN> -P ${CMAKE_CURRENT_SOURCE_DIR}/library/InstallPackage.cmake)
  set_tests_properties(Package.IsInstalled PROPERTIES FIXTURES_SETUP package)
  foreach(compiler IN LISTS host_compilers)
    get_filename_component(compiler_name ${compiler} NAME)
    add_test(NAME Package.IsFoundByCMakeUnder_${compiler_name}
      COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test ${consumer} ${package}-cmake-${compiler_name}
        --build-generator ${CMAKE_GENERATOR}
        --build-options -DCMAKE_PREFIX_PATH=${package} -DCMAKE_CXX_COMPILER=${compiler}
        --test-command consumer)
    add_test(NAME Package.IsFoundByPkgConfigUnder_${compiler_name}
      COMMAND ${consumer}/pkg-config.sh ${package}/${CMAKE_INSTALL_LIBDIR} ${package}-pc-${compiler_name} "" ${compiler})
    set_tests_properties(Package.IsFoundByCMakeUnder_${compiler_name} Package.IsFoundByPkgConfigUnder_${compiler_name}
      PROPERTIES FIXTURES_REQUIRED package)
  endforeach()
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME Package.IsFoundByCMakeForAForeignTarget
      COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test ${consumer} ${package}-cmake
        --build-generator ${CMAKE_GENERATOR}
        --build-options -DCMAKE_PREFIX_PATH=${package} -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}
        --test-command ${CMAKE_CROSSCOMPILING_EMULATOR} ${package}-cmake/consumer)
    add_test(NAME Package.IsFoundByPkgConfigForAForeignTarget
      COMMAND ${consumer}/pkg-config.sh ${package}/${CMAKE_INSTALL_LIBDIR} ${package}-pc
        "$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >" ${CMAKE_CXX_COMPILER} --target=${CMAKE_CXX_COMPILER_TARGET})
    set_tests_properties(Package.IsFoundByCMakeForAForeignTarget Package.IsFoundByPkgConfigForAForeignTarget
      PROPERTIES FIXTURES_REQUIRED package)
  endif()
endif()
