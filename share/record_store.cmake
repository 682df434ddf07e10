# The files from which the library builds its store handles.
install(FILES
  eorvascheduler-table-def.json
  eorvascheduler-table-create.sql
  DESTINATION ${ORVA_ROOT}/share/eorvascheduler)
