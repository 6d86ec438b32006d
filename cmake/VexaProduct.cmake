# vexa_product(NAME DESCRIPTION): what the three files have in common that are passed on. On Windows
# each tells its version, has a manifest, and is the same whenever and wherever it is linked; its
# import table cannot be written to once it is loaded.
function(vexa_product name description)
  if(NOT WIN32)
    return()
  endif()
  get_target_property(type ${name} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(file_type VFT_APP)
    set(file_name ${name}.exe)
    set(manifest_id 1)
  else()
    set(file_type VFT_DLL)
    set(file_name ${name}.dll)
    set(manifest_id 2)
    # Else the linker takes a base address from the path that it writes to.
    target_link_options(${name} PRIVATE -Wl,--disable-auto-image-base)
  endif()
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_BINARY_DIR}/generated/${name}.rc @ONLY)
  target_sources(${name} PRIVATE ${CMAKE_BINARY_DIR}/generated/${name}.rc)
  target_link_options(${name} PRIVATE -Wl,--no-insert-timestamp)
  add_custom_command(
    TARGET ${name} POST_BUILD VERBATIM
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/packaging/seal_pe.py $<TARGET_FILE:${name}>)
endfunction()
