# What `cmake --install` and CPack pass on besides the SDK (see SdkPackage.cmake): the host, beside the
# module and the runtime, the documents, and the terms.
if(WIN32)
  set(doc_dir .)
else()
  set(doc_dir ${CMAKE_INSTALL_DOCDIR})
endif()

install(TARGETS vexahost RUNTIME DESTINATION ${VEXA_MODULE_DIR} COMPONENT module)
if(NOT WIN32)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/generated)
  cmake_path(RELATIVE_PATH VEXA_MODULE_DIR BASE_DIRECTORY ${CMAKE_INSTALL_BINDIR}
             OUTPUT_VARIABLE from_bin)
  file(CREATE_LINK ${from_bin}/vexahost ${CMAKE_BINARY_DIR}/generated/vexahost SYMBOLIC)
  install(FILES ${CMAKE_BINARY_DIR}/generated/vexahost DESTINATION ${CMAKE_INSTALL_BINDIR}
          COMPONENT module)
endif()
install(FILES LICENSE THIRD_PARTY_NOTICES.md DESTINATION ${doc_dir} COMPONENT module)
install(DIRECTORY licenses DESTINATION ${doc_dir} COMPONENT module)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${doc_dir} COMPONENT sdk)
install(DIRECTORY docs DESTINATION ${doc_dir} COMPONENT sdk
        PATTERN CMakeLists.txt EXCLUDE PATTERN "Doxyfile.in" EXCLUDE PATTERN "*.pyc" EXCLUDE
        PATTERN "doxygen_filter.py" EXCLUDE)
# Where the documents look for it, as in the sources.
install(FILES bindings/python/vexabase.py DESTINATION ${doc_dir}/bindings/python COMPONENT sdk)

# What it takes to link the runtime with other builds of the libraries inside.
if(WIN32)
  install(FILES $<TARGET_FILE:velmora_core> DESTINATION relink RENAME libvelmora.a COMPONENT relink)
  install(PROGRAMS packaging/relink.sh DESTINATION relink COMPONENT relink)
  install(FILES ${CMAKE_BINARY_DIR}/generated/velmora.rc DESTINATION relink COMPONENT relink)
endif()

set(CPACK_PACKAGE_NAME vexabase)
set(CPACK_PACKAGE_VENDOR "the vexabase authors")
set(CPACK_PACKAGE_CONTACT "the vexabase authors <authors@vexabase.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Base module of a component framework, and its host")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL module sdk)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_MODULE_PACKAGE_NAME vexahost)
  set(CPACK_DEBIAN_SDK_PACKAGE_NAME vexabase-dev)
  set(CPACK_DEBIAN_SDK_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_SDK_PACKAGE_DEPENDS "vexahost (= ${PROJECT_VERSION})")
endif()
include(CPack)
