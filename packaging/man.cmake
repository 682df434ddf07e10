# The man pages; without scdoc there are none.
find_program(SCDOC scdoc)
if(NOT SCDOC)
  message(WARNING "scdoc is missing: the man pages are not built")
  return()
endif()

# eorva writes the middle part of its page, the commands.
set(COMMANDS "${CMAKE_CURRENT_BINARY_DIR}/man/commands.scd")
file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/man")
add_custom_command(OUTPUT "${COMMANDS}" DEPENDS eorva VERBATIM
  COMMAND sh -c "ASAN_OPTIONS=detect_leaks=0 '$<TARGET_FILE:eorva>' manual >'${COMMANDS}'")

# orva_man_page(PAGE PART...): builds a page from its parts.
function(orva_man_page page)
  set(result "${CMAKE_CURRENT_BINARY_DIR}/man/${page}")
  list(JOIN ARGN "' '" parts)
  add_custom_command(OUTPUT "${result}" DEPENDS ${ARGN} VERBATIM
    COMMAND sh -c "cat '${parts}' | SOURCE_DATE_EPOCH=\${SOURCE_DATE_EPOCH:-0} '${SCDOC}' >'${result}'")
  string(REGEX MATCH "[0-9]$" section "${page}")
  install(FILES "${result}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}")
  set_property(GLOBAL APPEND PROPERTY ORVA_MAN_PAGES "${result}")
endfunction()

set(MAN "${CMAKE_CURRENT_SOURCE_DIR}/man")
orva_man_page(eorva.8 "${MAN}/eorva.8.scd" "${COMMANDS}" "${MAN}/eorva.8.end.scd")
foreach(page eorva-events.7 eorva.conf.5 orvakbvnotify.8 orvamailflush.8)
  orva_man_page(${page} "${MAN}/${page}.scd")
endforeach()
get_property(pages GLOBAL PROPERTY ORVA_MAN_PAGES)
add_custom_target(man ALL DEPENDS ${pages})
