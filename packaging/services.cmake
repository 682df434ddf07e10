# Installs the systemd units, the udev rule and the programs that fire the events and maintain the system.
set(EORVA_UNITS /lib/systemd/system)
set(EORVA_LIBEXEC "${CMAKE_INSTALL_FULL_LIBEXECDIR}/eorva")

# The sandbox of units that only start others, in two parts; a unit includes them with @STARTER_RIGHTS@ and @STARTER_FILES@.
foreach(part rights files)
  string(TOUPPER "STARTER_${part}" variable)
  file(READ "systemd/starter-${part}.conf" ${variable})
  string(CONFIGURE "${${variable}}" ${variable} @ONLY)
  string(STRIP "${${variable}}" ${variable})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "systemd/starter-${part}.conf")
endforeach()

# Files that contain paths of other installed files end in .in.
file(GLOB UNITS CONFIGURE_DEPENDS systemd/*.service.in)
foreach(unit ${UNITS})
  get_filename_component(name "${unit}" NAME_WLE)
  configure_file("${unit}" "systemd/${name}" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/systemd/${name}" DESTINATION "${EORVA_UNITS}")
endforeach()
file(GLOB PLAIN_UNITS CONFIGURE_DEPENDS systemd/*.timer systemd/*.slice)
install(FILES ${PLAIN_UNITS} DESTINATION "${EORVA_UNITS}")
# A drop-in for all units of a type.
install(FILES systemd/mount.conf DESTINATION "${EORVA_UNITS}/mount.d" RENAME eorva.conf)

foreach(name fire-shutdown watch-volumes watch-ups)
  configure_file("libexec/${name}.in" "libexec/${name}" @ONLY)
  install(PROGRAMS "${CMAKE_CURRENT_BINARY_DIR}/libexec/${name}" DESTINATION "${EORVA_LIBEXEC}")
endforeach()

install(FILES tmpfiles/eorva.conf DESTINATION /usr/lib/tmpfiles.d)
install(FILES udev/90-eorva.rules DESTINATION /lib/udev/rules.d)
install(DIRECTORY examples/ DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/eorva/examples" USE_SOURCE_PERMISSIONS)
install(DIRECTORY "${CMAKE_SOURCE_DIR}/docs/admin" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/eorva")

# The store changes at run time, so it is in /var/lib, which backups include; the library's fixed path is a link to it.
# A store that was created by hand at the library's path stays there.
install(CODE "
  set(store \"\$ENV{DESTDIR}${ORVA_ROOT}/etc/eorvascheduler\")
  if(NOT EXISTS \"\${store}\" AND NOT IS_SYMLINK \"\${store}\")
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}${ORVA_ROOT}/etc\" \"\$ENV{DESTDIR}/var/lib/orva/eorvascheduler\")
    file(CREATE_LINK ../../../var/lib/orva/eorvascheduler \"\${store}\" SYMBOLIC)
  endif()")
