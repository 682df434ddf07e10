# How the code of tests is compiled. It is not what is under test: the sanitizers watch the library, the platform and the
# programs, whose objects it is linked with, and the headers that every test reads are parsed once a program.
function(eorva_test_code target)
  target_compile_options(${target} PRIVATE -fno-sanitize=all)
  target_precompile_headers(${target} PRIVATE <gmock/gmock.h> <gtest/gtest.h> <json/json.h>)
endfunction()
