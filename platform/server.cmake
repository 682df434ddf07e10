# The rest of the platform: users, shares, volumes, processes, mail, texts, event log.
# An object library, so that the platform's programs and tests can use functions that the shared library hides.
pkg_check_modules(MOUNT REQUIRED IMPORTED_TARGET mount)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

add_library(orvaplatform_server OBJECT
  event_log/caller.cpp
  event_log/event_file.cpp
  event_log/event_log.cpp
  event_log/journal.cpp
  event_log/log_catalogue.cpp
  mail/address.cpp
  mail/courier.cpp
  mail/encoding.cpp
  mail/mail_template.cpp
  mail/message.cpp
  mail/outbox.cpp
  mail/send_mail.cpp
  mail/server_values.cpp
  process/alive.cpp
  process/exec.cpp
  process/run.cpp
  process/run_calls.cpp
  settings/folder_files.cpp
  settings/key_value.cpp
  settings/regular_file.cpp
  settings/section_file.cpp
  settings/server_settings.cpp
  settings/text_line.cpp
  shares/make_folders.cpp
  shares/samba_shares.cpp
  shares/share_access.cpp
  shares/share_file.cpp
  shares/share_info.cpp
  shares/share_list.cpp
  strings/hash.cpp
  strings/list.cpp
  texts/localized_texts.cpp
  texts/server_text.cpp
  texts/utf8.cpp
  users/user.cpp
  support/mount_table.cpp
  volumes/volume_avail.cpp
  volumes/volume_temp.cpp
)
target_include_directories(orvaplatform_server PUBLIC "${CMAKE_SOURCE_DIR}/include" "${CMAKE_CURRENT_SOURCE_DIR}")
target_link_libraries(orvaplatform_server
  PUBLIC JsonCpp::JsonCpp fmt::fmt PkgConfig::MOUNT PkgConfig::SYSTEMD)

target_sources(orvaplatform PRIVATE $<TARGET_OBJECTS:orvaplatform_server>)
target_link_libraries(orvaplatform PRIVATE PkgConfig::MOUNT PkgConfig::SYSTEMD)

# The inner parts that both platform programs use.
add_library(orvaplatform_inner INTERFACE)
target_sources(orvaplatform_inner INTERFACE
  $<TARGET_OBJECTS:orvaplatform_server>
  "${CMAKE_CURRENT_SOURCE_DIR}/support/last_error.cpp"
  "${CMAKE_CURRENT_SOURCE_DIR}/support/log.cpp")
target_link_libraries(orvaplatform_inner INTERFACE orvaplatform_server)

# The parts of the notifier, in a separate library for its tests.
add_library(orvaplatform_notify OBJECT
  notify/group_members.cpp
  notify/notification_text.cpp
  notify/throttle.cpp
)
target_link_libraries(orvaplatform_notify PRIVATE orvaplatform_server)

add_executable(orvakbvnotify notify/notify_main.cpp)
target_link_libraries(orvakbvnotify PRIVATE orvaplatform_inner orvaplatform_notify)

add_executable(orvamailflush mail/flush_main.cpp)
target_link_libraries(orvamailflush PRIVATE orvaplatform_inner)

install(TARGETS orvakbvnotify orvamailflush RUNTIME DESTINATION "${ORVA_ROOT}/bin")
