# What the documents lead to stands elsewhere than in the sources.
file(MAKE_DIRECTORY ${generated}/doc-links)
foreach(link "include;${CMAKE_INSTALL_INCLUDEDIR}" "bindings;${CMAKE_INSTALL_DATADIR}/vexabase")
  list(GET link 0 name)
  list(GET link 1 there)
  cmake_path(RELATIVE_PATH there BASE_DIRECTORY ${CMAKE_INSTALL_DOCDIR})
  file(CREATE_LINK ${there} ${generated}/doc-links/${name} SYMBOLIC)
  install(FILES ${generated}/doc-links/${name} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT sdk)
endforeach()

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
add_dependencies(shipped vexahost_texts)
install(FILES ${generated}/vexahost.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT module)
install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME vexahost COMPONENT module)
