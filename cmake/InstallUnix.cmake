# The host on the search path, its manual page and its completion, which it writes itself.
cmake_path(RELATIVE_PATH VEXA_MODULE_DIR BASE_DIRECTORY ${CMAKE_INSTALL_BINDIR}
           OUTPUT_VARIABLE from_bin)
file(MAKE_DIRECTORY ${generated})
file(CREATE_LINK ${from_bin}/vexahost ${generated}/vexahost SYMBOLIC)
install(FILES ${generated}/vexahost DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT module)

set(manual ${generated}/vexahost.1 ${generated}/vexahost.1.gz)
set(completion ${generated}/vexahost.bash)
add_custom_command(
  OUTPUT ${manual} ${completion} VERBATIM
  COMMAND vexahost help --man > ${generated}/vexahost.1
  COMMAND gzip -9 -n -k -f ${generated}/vexahost.1
  COMMAND vexahost help --bash-completion > ${completion}
  DEPENDS vexahost)
add_custom_target(vexahost_texts ALL DEPENDS ${manual} ${completion})
install(FILES ${generated}/vexahost.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT module)
install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME vexahost COMPONENT module)
