# What a host is built with, below a prefix: the headers in C++ and C, vexabase.py, and what
# find_package(vexabase CONFIG) and pkg-config look for. Component `sdk`; the module and the reference
# runtime, which a host loads by file, are the component `module`.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Side by side: the module looks for velmora in its own folder. On Windows programs stand there, too.
if(WIN32)
  set(VEXA_MODULE_DIR ${CMAKE_INSTALL_BINDIR})
else()
  set(VEXA_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/vexabase)
endif()
set(config ${CMAKE_INSTALL_LIBDIR}/cmake/vexabase)

install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/vexa DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT sdk FILES_MATCHING PATTERN *.h)
install(FILES ${CMAKE_BINARY_DIR}/generated/vexabase.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT sdk)
install(FILES ${CMAKE_SOURCE_DIR}/bindings/python/vexabase.py
  DESTINATION ${CMAKE_INSTALL_DATADIR}/vexabase/python COMPONENT sdk)
install(TARGETS vexabase velmora
  RUNTIME DESTINATION ${VEXA_MODULE_DIR} COMPONENT module
  LIBRARY DESTINATION ${VEXA_MODULE_DIR} COMPONENT module
  ARCHIVE DESTINATION ${VEXA_MODULE_DIR} COMPONENT never EXCLUDE_FROM_ALL)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/vexabaseConfig.cmake.in ${CMAKE_BINARY_DIR}/vexabaseConfig.cmake
  INSTALL_DESTINATION ${config}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_DATADIR VEXA_MODULE_DIR)
write_basic_package_version_file(
  ${CMAKE_BINARY_DIR}/vexabaseConfigVersion.cmake COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(
  FILES ${CMAKE_BINARY_DIR}/vexabaseConfig.cmake ${CMAKE_BINARY_DIR}/vexabaseConfigVersion.cmake
  DESTINATION ${config} COMPONENT sdk)
# The prefix as seen from the file, so that the whole can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
           BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig
           OUTPUT_VARIABLE VEXA_PREFIX_FROM_PC)
configure_file(${CMAKE_CURRENT_LIST_DIR}/vexabase.pc.in ${CMAKE_BINARY_DIR}/vexabase.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vexabase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT sdk)
