# vexa_embed(OUT HEADER NAMESPACE FILE...): makes a source, OUT, that defines for each FILE the
# `const std::string_view` with its bytes which HEADER declares in NAMESPACE: kRoot for root.der,
# kLegacyPfx for legacy.pfx, kIndexHtml for index.html. It is made again when a file changes.
if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(VEXA_EMBED_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

  function(vexa_embed out header namespace)
    list(JOIN ARGN "|" files)
    add_custom_command(
      OUTPUT ${out}
      COMMAND ${CMAKE_COMMAND} -DOUT=${out} -DHEADER=${header} -DNAMESPACE=${namespace}
              "-DFILES=${files}" -P ${VEXA_EMBED_SCRIPT}
      DEPENDS ${ARGN} ${VEXA_EMBED_SCRIPT}
      VERBATIM)
  endfunction()
  return()
endif()

# "legacy.pfx" to "kLegacyPfx"; that a certificate is DER goes without saying.
function(name_of file out)
  get_filename_component(file ${file} NAME)
  string(REGEX REPLACE "\\.der$" "" file ${file})
  string(REGEX MATCHALL "[^._]+" words ${file})
  set(name k)
  foreach(word ${words})
    string(SUBSTRING ${word} 0 1 first)
    string(SUBSTRING ${word} 1 -1 rest)
    string(TOUPPER ${first} first)
    string(APPEND name ${first}${rest})
  endforeach()
  set(${out} ${name} PARENT_SCOPE)
endfunction()

string(REPLACE "|" ";" files "${FILES}")
set(bytes)
set(views)
foreach(file ${files})
  name_of(${file} name)
  file(READ ${file} content HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," content "${content}")
  string(REGEX REPLACE "([^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,)" "\\1\n"
                       content "${content}")
  string(APPEND bytes "constexpr char ${name}Bytes[] = {\n${content}\n};\n")
  string(APPEND views "constinit const std::string_view ${name}(${name}Bytes, sizeof(${name}Bytes));\n")
endforeach()
file(WRITE ${OUT} "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\nnamespace {\n\n${bytes}\n}  // namespace\n\n"
                  "${views}\n}  // namespace ${NAMESPACE}\n")
