# Installs a build, stripped, and moves the copy to where the consumers look for it.
# Run with -DBUILD=<the build> -DPACKAGE=<where to> -DLIBRARY=<the library's name in it>.
file(REMOVE_RECURSE ${PACKAGE} ${PACKAGE}.staged)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PACKAGE}.staged --strip
  COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${PACKAGE}.staged ${PACKAGE})

# A C++ library linked in, for example, would be larger.
set(limit 262144)
file(SIZE ${PACKAGE}/${LIBRARY} size)
if(size GREATER limit)
  message(FATAL_ERROR "${LIBRARY} has ${size} bytes, more than ${limit}")
endif()
