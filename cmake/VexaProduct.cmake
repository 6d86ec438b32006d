# What the three files have in common that are passed on. VEXA_PACKAGE (presets windows and release)
# builds them as they are packaged: the same bytes whenever and wherever, debug symbols in a file beside.
option(VEXA_PACKAGE "Build what is passed on: reproducible, with debug symbols" OFF)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(VEXA_SEAL ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/packaging/seal_pe.py)

# vexa_shipped_options(OUT): what is compiled into them names no folder of this machine, and the same one
# for every preset, since a ccache may give out what it compiled for another. Paths come absolute from
# CMake, and relative to the build folder from a ccache that has a base folder. The last map that fits
# counts.
function(vexa_shipped_options out)
  set(options)
  if(VEXA_PACKAGE)
    cmake_path(RELATIVE_PATH CMAKE_SOURCE_DIR BASE_DIRECTORY ${CMAKE_BINARY_DIR}
               OUTPUT_VARIABLE to_source)
    set(options -g -ffile-prefix-map=${to_source}=. -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.
                -ffile-prefix-map=${CMAKE_BINARY_DIR}=./build)
    foreach(folder roots generated host)
      list(APPEND options -ffile-prefix-map=${folder}/=./build/${folder}/)
    endforeach()
  endif()
  set(${out} "${options}" PARENT_SCOPE)
endfunction()

# vexa_symbols_beside(NAME): moves the debug symbols of a program to FILE.debug beside it, where gdb
# looks for them.
function(vexa_symbols_beside name)
  set(file $<TARGET_FILE:${name}>)
  set(seal)
  if(WIN32)
    set(seal COMMAND ${VEXA_SEAL} ${file}.debug)
  endif()
  add_custom_command(
    TARGET ${name} POST_BUILD VERBATIM
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${file} ${file}.debug
    ${seal}
    COMMAND ${CMAKE_STRIP} --strip-all ${file}
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=${file}.debug ${file})
endfunction()

# vexa_product(NAME DESCRIPTION): on Windows each tells its version and has a manifest. What the loader
# has filled in cannot be written to.
function(vexa_product name description)
  if(VEXA_PACKAGE)
    vexa_symbols_beside(${name})
  endif()
  if(NOT WIN32)
    target_link_options(${name} PRIVATE -Wl,-z,relro,-z,now)
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
  add_custom_command(TARGET ${name} POST_BUILD VERBATIM COMMAND ${VEXA_SEAL} $<TARGET_FILE:${name}>)
endfunction()
