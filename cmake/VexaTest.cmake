# Everything that is checked is a test of ctest. Each has labels: the kind of build (native, windows,
# tsan, ...), and its folder or what it is about (endpoint, host, lint, ...).
set(VEXA_TEST_LABEL native CACHE STRING "The label of all tests of this build")
set(VEXA_RESULTS ${CMAKE_BINARY_DIR}/results)
set(VEXA_TOOLS ${CMAKE_SOURCE_DIR}/tests/tools)
# The path and not the target, before which CMake would put the emulator.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# vexa_test_properties(NAME LABELS a b ...): what is the same for all tests.
function(vexa_test_properties name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LABELS")
  set_tests_properties(
    ${name} PROPERTIES LABELS "${VEXA_TEST_LABEL};${arg_LABELS}" TIMEOUT 600 ENVIRONMENT
    "PYTHONPATH=${VEXA_TOOLS};PYTHONDONTWRITEBYTECODE=1")
endfunction()

# vexa_run_gtest(TARGET LABELS a b ...): runs a GoogleTest program that is a target already (on
# Windows through Wine), with build/<preset>/tests as working folder.
function(vexa_run_gtest name)
  add_test(
    NAME ${name}
    COMMAND ${Python3_EXECUTABLE} ${VEXA_TOOLS}/run_gtest.py ${VEXA_RESULTS}
            ${CMAKE_CROSSCOMPILING_EMULATOR} ${VEXA_TEST_LAUNCHER} -- $<TARGET_FILE:${name}>
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  vexa_test_properties(${name} ${ARGN})
endfunction()

# vexa_test(NAME SOURCES a_test.cpp ... LIBS vexa_base ...): one test program,
# build/<preset>/tests/NAME. Labelled with the name of its folder; target tests_FOLDER builds all of
# one folder.
function(vexa_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vexa_test(${name}): unknown ${arg_UNPARSED_ARGUMENTS}")
  endif()
  vexa_program(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main vexa_warnings)
  if(VEXA_TEST_HEADERS)
    set_property(SOURCE ${arg_SOURCES} APPEND PROPERTY OBJECT_DEPENDS ${VEXA_TEST_HEADERS}.gch)
    set_target_properties(${name} PROPERTIES CXX_COMPILER_LAUNCHER
      "${VEXA_TOOLS}/with_headers.sh;${VEXA_TEST_HEADERS};${CMAKE_CXX_COMPILER_LAUNCHER}")
  endif()

  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  vexa_run_gtest(${name} LABELS ${folder})
  if(NOT TARGET tests_${folder})
    add_custom_target(tests_${folder})
  endif()
  add_dependencies(tests_${folder} ${name})
endfunction()

# vexa_check(NAME SCRIPT check.py LABELS a b ... ARGUMENTS ...): a Python check that counts its cases
# itself and writes the counts to the file that it is given with --report.
function(vexa_check name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SCRIPT" "LABELS;ARGUMENTS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vexa_check(${name}): unknown ${arg_UNPARSED_ARGUMENTS}")
  endif()
  add_test(
    NAME ${name}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/${arg_SCRIPT} --report
            ${VEXA_RESULTS}/${name}.json ${arg_ARGUMENTS})
  vexa_test_properties(${name} LABELS ${arg_LABELS})
endfunction()
