# vexahost (the host, the module, the runtime), vexabase-dev (the SDK) and vexahost-dbgsym, with what
# Debian expects of a package: changelog.gz and copyright under its own name, a description.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL module sdk symbols)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(same_version "vexahost (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_MODULE_PACKAGE_NAME vexahost)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_MODULE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_MODULE_DESCRIPTION "command-line host and module of a component framework
Offers the services of the vexabase module, among them JSON, URLs,
certificates and PKCS#12, in a shell and through a local HTTP endpoint. The
module and its reference runtime come with it.")

set(CPACK_DEBIAN_SDK_PACKAGE_NAME vexabase-dev)
set(CPACK_DEBIAN_SDK_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_SDK_PACKAGE_DEPENDS ${same_version})
set(CPACK_DEBIAN_SDK_DESCRIPTION "development files of the vexabase module
Headers for hosts in C++ and C, a Python module, the documents, and what CMake
and pkg-config look for.")

set(CPACK_DEBIAN_SYMBOLS_PACKAGE_NAME vexahost-dbgsym)
set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_SYMBOLS_PACKAGE_DEPENDS ${same_version})
set(CPACK_DEBIAN_SYMBOLS_DESCRIPTION "debug symbols for vexahost
Function names, types and lines of the host, the module and its reference
runtime, where gdb looks for them.")

execute_process(COMMAND env LC_ALL=C date -u -R -d ${VEXA_RELEASE_DATE}
                OUTPUT_VARIABLE release_date OUTPUT_STRIP_TRAILING_WHITESPACE)
foreach(component module sdk symbols)
  string(TOUPPER ${component} upper)
  set(name ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(texts ${generated}/debian/${name})
  file(MAKE_DIRECTORY ${texts})
  file(READ LICENSE terms)
  string(REGEX REPLACE "\n\n" "\n.\n" terms "${terms}")
  string(REGEX REPLACE "\n" "\n " terms "${terms}")
  string(STRIP "${terms}" terms)
  file(WRITE ${texts}/copyright
       "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
       "Upstream-Name: vexabase\n\nFiles: *\nCopyright: 2026 the vexabase authors\n"
       "License: Expat\n ${terms}\n")
  file(WRITE ${texts}/changelog
       "${name} (${PROJECT_VERSION}) stable; urgency=medium\n\n"
       "  * See /usr/share/doc/vexabase/CHANGELOG.md in vexabase-dev.\n\n"
       " -- ${CPACK_PACKAGE_CONTACT}  ${release_date}\n")
  execute_process(COMMAND gzip -9 -n -f ${texts}/changelog)
  install(FILES ${texts}/copyright ${texts}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endforeach()
