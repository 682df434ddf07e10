# How everything in this tree is compiled: one standard, one set of warnings, one choice of sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(EORVA_WERROR "Treat warnings as errors" OFF)
option(EORVA_SANITIZE "Build with the address and undefined-behaviour sanitizers" OFF)
option(EORVA_PRECOMPILE "Parse headers that most files read once" OFF)
option(EORVA_COVERAGE "Build for coverage measurement" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -fstack-protector-strong)
if(EORVA_WERROR)
  add_compile_options(-Werror)
endif()
if(EORVA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  # The undefined-behaviour sanitizer describes every access that it checks by addresses. In a program that may lie anywhere
  # the loader has to fill them in at each start: millions, for half of the time of a command.
  add_link_options("$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>")
  # What no sanitizer sees: an element beyond the end of what is reserved, the value of an empty optional.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
if(EORVA_FUZZ)
  # Lets the fuzzer see which ways an input takes through the library; each target links the fuzzer itself.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(EORVA_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
  add_library(eorva_coverage_exit OBJECT "${CMAKE_SOURCE_DIR}/cmake/coverage_exit.cpp")
  # Not for those who link an installed library.
  link_libraries("$<BUILD_INTERFACE:eorva_coverage_exit>")
endif()

# Parses headers that most files of a target read once. It hides an #include that is missing, so that something else has to
# be built without: the packages are.
function(eorva_precompile target)
  if(EORVA_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# Limits what a shared library exports to the names in a version script.
function(eorva_export_only target script)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${script}")
endfunction()
