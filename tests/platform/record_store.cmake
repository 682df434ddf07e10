# The record store against real databases, several processes among them.
add_executable(record_store_test
  record_store_fixture.cpp
  record_store_operations.cpp
)
target_compile_definitions(record_store_test PRIVATE EORVA_SHARE="${CMAKE_SOURCE_DIR}/share")
target_link_libraries(record_store_test PRIVATE orvaplatform GTest::gmock_main)
gtest_discover_tests(record_store_test TEST_PREFIX platform. DISCOVERY_TIMEOUT 60)
