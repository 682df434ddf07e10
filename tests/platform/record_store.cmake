# Tests of the record store with real databases, also with several processes.
add_executable(record_store_test
  old_database.cpp
  record_store_authorizer.cpp
  record_store_busy.cpp
  record_store_columns.cpp
  record_store_copy_member.cpp
  record_store_create_tables.cpp
  record_store_failures.cpp
  record_store_filters.cpp
  record_store_fixture.cpp
  record_store_installed_tables.cpp
  record_store_kills.cpp
  record_store_last_error.cpp
  record_store_load.cpp
  record_store_memory.cpp
  record_store_migrations.cpp
  record_store_operations.cpp
  record_store_processes.cpp
  record_store_readable_time.cpp
  record_store_write_guard.cpp
  together.cpp
)
target_compile_definitions(record_store_test PRIVATE EORVA_SHARE="${CMAKE_SOURCE_DIR}/share")
target_link_libraries(record_store_test PRIVATE platform_under_test GTest::gmock_main)
eorva_test_code(record_store_test)
gtest_discover_tests(record_store_test
  TEST_PREFIX platform. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 240 LABELS platform)

# This test mounts file systems.
add_executable(record_store_faults_test old_database.cpp record_store_faults.cpp record_store_fixture.cpp)
target_compile_definitions(record_store_faults_test PRIVATE EORVA_SHARE="${CMAKE_SOURCE_DIR}/share")
target_link_libraries(record_store_faults_test PRIVATE platform_under_test eorva_test_support GTest::gmock)
eorva_test_code(record_store_faults_test)
gtest_discover_tests(record_store_faults_test
  TEST_PREFIX platform. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 60 LABELS platform)
