# vrn_flags: what every target of ours is compiled and linked with.
add_library(vrn_flags INTERFACE)
target_compile_options(vrn_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wthread-safety -Werror -Werror=format-security
  -Wno-gnu-zero-variadic-macro-arguments # the log macro takes a format without arguments too
  -fvisibility=hidden -fvisibility-inlines-hidden
  -fstack-protector-strong)

if(VRN_SANITIZE MATCHES "^(address|fuzz)$")
  set(vrn_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(VRN_SANITIZE STREQUAL "fuzz")
    list(APPEND vrn_sanitizers -fsanitize=fuzzer-no-link) # counts what an input reaches
  endif()
elseif(VRN_SANITIZE STREQUAL "thread")
  set(vrn_sanitizers -fsanitize=thread -fno-omit-frame-pointer)
elseif(VRN_SANITIZE)
  message(FATAL_ERROR "VRN_SANITIZE is empty, address, thread or fuzz, not '${VRN_SANITIZE}'")
endif()

if(VRN_SANITIZE)
  target_compile_options(vrn_flags INTERFACE ${vrn_sanitizers} -g)
  target_link_options(vrn_flags INTERFACE ${vrn_sanitizers})
else()
  # Fortified functions need optimisation; the sanitizers bring checks of their own and leave symbols for their
  # runtime to fill in.
  target_compile_definitions(vrn_flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
  target_link_options(vrn_flags INTERFACE -Wl,--no-undefined)
endif()

# For sources of programs, none of the engine's, that take long to optimise for their headers' sake (command lines,
# regular expressions) and need not be fast.
set(vrn_quickly_compiled -O0)

# What a shared library for a phone is linked with, and the same everywhere else.
set(vrn_shared_link_options
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
  -Wl,-z,max-page-size=16384 # Android devices with 16 KiB pages
  -Wl,-z,nodelete)           # engine threads may outlive the last dlclose
