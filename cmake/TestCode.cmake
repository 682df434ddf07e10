# How the code of tests is compiled. It is not what is under test: the sanitizers watch the library, the platform and the
# programs, whose objects it is linked with. The headers that every test reads are parsed once for all programs.
file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp" CONTENT "int main() {}\n")
add_executable(eorva_test_headers "${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp")
target_compile_options(eorva_test_headers PRIVATE -fno-sanitize=all)
target_link_libraries(eorva_test_headers PRIVATE GTest::gmock JsonCpp::JsonCpp)
target_precompile_headers(eorva_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <json/json.h>)

function(eorva_test_code target)
  target_compile_options(${target} PRIVATE -fno-sanitize=all)
  target_precompile_headers(${target} REUSE_FROM eorva_test_headers)
endfunction()
