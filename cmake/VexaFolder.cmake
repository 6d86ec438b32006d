# vexa_warnings: the warnings that every source file of ours is compiled with.
add_library(vexa_warnings INTERFACE)
target_compile_options(
  vexa_warnings INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:-Wall;-Wextra;-Wconversion;-Wshadow;-Werror>)

# ccache leaves the link alone and makes a second build of the same sources nearly free. What a source
# includes it learns from the compiler and runs no preprocessor before it; the sloppiness is what it
# asks for where headers are precompiled.
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(launcher env CCACHE_DEPEND=1 CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

# vexa_include_root(NAME OUT): makes build/<preset>/roots/NAME, a folder that holds a link NAME to
# the source folder NAME and nothing else, and stores its path in OUT. A target that has this root
# among its include folders can write #include "NAME/file.h"; a target that has not, can not. That is
# how a wrong include fails to build.
function(vexa_include_root name out)
  set(root ${CMAKE_BINARY_DIR}/roots/${name})
  file(MAKE_DIRECTORY ${root})
  if(NOT IS_SYMLINK ${root}/${name})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${name} ${root}/${name} SYMBOLIC)
  endif()
  set(${out} ${root} PARENT_SCOPE)
endfunction()

# vexa_folder(NAME [HOT] DEPENDS vexa_base ...): the static library vexa_NAME of all sources of one
# folder. What it depends on is visible to those who use it. HOT: where the build optimises, these
# sources are worth the space that -O3 takes (docs/performance.md).
function(vexa_folder name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "HOT" "" "DEPENDS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vexa_folder(${name}): unknown ${arg_UNPARSED_ARGUMENTS}")
  endif()
  vexa_include_root(${name} root)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(vexa_${name} STATIC ${sources})
  target_include_directories(vexa_${name} PUBLIC ${root})
  target_link_libraries(vexa_${name} PUBLIC ${arg_DEPENDS} PRIVATE vexa_warnings)
  if(arg_HOT AND CMAKE_CXX_FLAGS MATCHES "-O2")
    target_compile_options(vexa_${name} PRIVATE -O3)
  endif()
endfunction()

if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_library(vexa_sanitizer_settings OBJECT ${CMAKE_SOURCE_DIR}/cmake/sanitizer_settings.c)
endif()

# vexa_program(NAME a.cpp ...): an executable. With sanitizers it carries their settings inside, so
# that it behaves alike whoever starts it.
function(vexa_program name)
  add_executable(${name} ${ARGN})
  if(TARGET vexa_sanitizer_settings)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:vexa_sanitizer_settings>)
  endif()
endfunction()
