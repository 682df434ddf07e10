# What fires the events, and keeps the installed system in order: systemd units, a udev rule, and their programs.
set(EORVA_UNITS /lib/systemd/system)
set(EORVA_LIBEXEC "${CMAKE_INSTALL_FULL_LIBEXECDIR}/eorva")

# What names other installed files ends in .in.
file(GLOB UNITS CONFIGURE_DEPENDS systemd/*.service.in)
foreach(unit ${UNITS})
  get_filename_component(name "${unit}" NAME_WLE)
  configure_file("${unit}" "systemd/${name}" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/systemd/${name}" DESTINATION "${EORVA_UNITS}")
endforeach()
file(GLOB TIMERS CONFIGURE_DEPENDS systemd/*.timer)
install(FILES ${TIMERS} DESTINATION "${EORVA_UNITS}")
# What holds for all units of a kind.
install(FILES systemd/mount.conf DESTINATION "${EORVA_UNITS}/mount.d" RENAME eorva.conf)

foreach(name fire-shutdown watch-volumes watch-ups)
  configure_file("libexec/${name}.in" "libexec/${name}" @ONLY)
  install(PROGRAMS "${CMAKE_CURRENT_BINARY_DIR}/libexec/${name}" DESTINATION "${EORVA_LIBEXEC}")
endforeach()

install(FILES tmpfiles/eorva.conf DESTINATION /usr/lib/tmpfiles.d)
install(FILES udev/90-eorva.rules DESTINATION /lib/udev/rules.d)
install(DIRECTORY examples/ DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/eorva/examples" USE_SOURCE_PERMISSIONS)
install(FILES "${CMAKE_SOURCE_DIR}/docs/administrators.md" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/eorva")

# The store changes while the system runs, so it lies where backups look; the path that the library knows leads there.
# A store that was made in that place by hand stays there.
install(CODE "
  set(store \"\$ENV{DESTDIR}${ORVA_ROOT}/etc/eorvascheduler\")
  if(NOT EXISTS \"\${store}\" AND NOT IS_SYMLINK \"\${store}\")
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}${ORVA_ROOT}/etc\" \"\$ENV{DESTDIR}/var/lib/orva/eorvascheduler\")
    file(CREATE_LINK ../../../var/lib/orva/eorvascheduler \"\${store}\" SYMBOLIC)
  endif()")
