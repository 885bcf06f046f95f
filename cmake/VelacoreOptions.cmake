# Compiler settings shared by every velacore target: the warning list lives here and only here.

option(VELACORE_WERROR "Treat warnings as errors" OFF)
set(VELACORE_SANITIZE "" CACHE STRING
    "Sanitizers for every target: empty, 'address,undefined' or 'thread'")

set(VELACORE_WARNINGS -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual
                      -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND VELACORE_WARNINGS -Wshadow=local)
else()
  # GoogleTest's typed-test macros pass empty variadic arguments.
  list(APPEND VELACORE_WARNINGS -Wshadow-uncaptured-local -Wno-gnu-zero-variadic-macro-arguments)
endif()
if(VELACORE_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Under sanitizer instrumentation g++ 12 reports uninitialised reads inside libstdc++'s own
  # <regex> and <functional> that cannot happen; the sanitizers check the real thing at run time.
  list(APPEND VELACORE_WARNINGS -Wno-maybe-uninitialized)
endif()
if(VELACORE_WERROR)
  list(APPEND VELACORE_WARNINGS -Werror)
endif()

# Applies the project's warning list to one target.
function(velacore_warnings target)
  target_compile_options(${target} PRIVATE ${VELACORE_WARNINGS})
endfunction()

if(VELACORE_SANITIZE)
  add_compile_options(-fsanitize=${VELACORE_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VELACORE_SANITIZE})
endif()

find_program(VELACORE_CCACHE ccache)
if(VELACORE_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${VELACORE_CCACHE}")
endif()
