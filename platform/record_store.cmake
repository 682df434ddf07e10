# The record store, and the support code that the whole platform uses.
target_sources(orvaplatform PRIVATE
  record_store/authorizer.cpp
  record_store/busy.cpp
  record_store/column_value.cpp
  record_store/copy_member.cpp
  record_store/definition.cpp
  record_store/failure.cpp
  record_store/filter.cpp
  record_store/json_text.cpp
  record_store/kept_copy.cpp
  record_store/lasting_text.cpp
  record_store/list_guard.cpp
  record_store/members.cpp
  record_store/migrations.cpp
  record_store/readable_time.cpp
  record_store/record_store.cpp
  record_store/row_reader.cpp
  record_store/schema.cpp
  record_store/sql_script.cpp
  record_store/sql_texts.cpp
  record_store/statement.cpp
  record_store/transaction.cpp
  record_store/write_guard.cpp
  support/last_error.cpp
  support/log.cpp
)
