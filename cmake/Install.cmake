# What `cmake --install` and CPack pass on besides the SDK (see SdkPackage.cmake): the host, beside the
# module and the runtime, the documents, and the terms.
if(WIN32)
  set(doc_dir .)
else()
  set(doc_dir ${CMAKE_INSTALL_DOCDIR})
endif()
set(generated ${CMAKE_BINARY_DIR}/generated)

# Builds all that is installed.
add_custom_target(shipped DEPENDS vexahost vexabase velmora vexa_generated)

install(TARGETS vexahost RUNTIME DESTINATION ${VEXA_MODULE_DIR} COMPONENT module)
install(FILES LICENSE THIRD_PARTY_NOTICES.md DESTINATION ${doc_dir} COMPONENT module)
install(DIRECTORY licenses DESTINATION ${doc_dir} COMPONENT module)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${doc_dir} COMPONENT sdk)
install(DIRECTORY docs DESTINATION ${doc_dir} COMPONENT sdk
        PATTERN CMakeLists.txt EXCLUDE PATTERN "Doxyfile.in" EXCLUDE PATTERN "*.pyc" EXCLUDE
        PATTERN "doxygen_filter.py" EXCLUDE)

# For gdb: beside the programs, or where Debian has them.
if(VEXA_PACKAGE)
  set(symbols_dir ${VEXA_MODULE_DIR})
  if(NOT WIN32)
    set(symbols_dir lib/debug/usr/${VEXA_MODULE_DIR})
  endif()
  foreach(name vexabase velmora vexahost)
    install(FILES $<TARGET_FILE:${name}>.debug DESTINATION ${symbols_dir} COMPONENT symbols
            EXCLUDE_FROM_ALL)
  endforeach()
endif()

if(WIN32)
  # Where the documents look for it, as in the sources.
  install(FILES bindings/python/vexabase.py DESTINATION bindings/python COMPONENT sdk)
  # What it takes to link the runtime with other builds of the libraries inside.
  set(objects ${generated}/libvelmora.a)
  add_custom_command(
    OUTPUT ${objects} VERBATIM
    COMMAND ${CMAKE_OBJCOPY} --strip-debug -D $<TARGET_FILE:velmora_core> ${objects}
    DEPENDS velmora_core)
  add_custom_target(velmora_relink ALL DEPENDS ${objects})
  add_dependencies(shipped velmora_relink)
  install(FILES ${objects} ${generated}/velmora.rc DESTINATION relink COMPONENT relink)
  get_target_property(options vexa_crypto INTERFACE_LINK_OPTIONS)
  list(JOIN options " " options)
  configure_file(packaging/relink.sh.in ${generated}/relink.sh @ONLY)
  install(PROGRAMS ${generated}/relink.sh DESTINATION relink COMPONENT relink)
else()
  include(InstallUnix)
endif()

set(CPACK_PACKAGE_NAME vexabase)
set(CPACK_PACKAGE_VENDOR "the vexabase authors")
set(CPACK_PACKAGE_CONTACT "the vexabase authors <authors@vexabase.invalid>")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_CHECKSUM SHA256)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  include(DebianPackages)
endif()
include(CPack)
