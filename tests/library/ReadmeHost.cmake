# The README's host is examples/minimal_host.cpp, which is compiled and run. Run with -DSOURCE=<the tree>.
file(READ ${SOURCE}/README.md readme)
file(READ ${SOURCE}/examples/minimal_host.cpp host)
string(FIND "${readme}" "```cpp\n${host}```" found)
if(found EQUAL -1)
  message(FATAL_ERROR "README.md shows another host than examples/minimal_host.cpp")
endif()
