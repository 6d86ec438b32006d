# vexa_crypto: libgcrypt for the reference runtime, for both targets. Static on Windows,
# so that the runtime DLL imports only Windows' own DLLs.
add_library(vexa_crypto INTERFACE)
if(WIN32)
  foreach(lib gcrypt gpg-error)
    find_library(VEXA_${lib}_LIBRARY NAMES lib${lib}.a REQUIRED)
    target_link_libraries(vexa_crypto INTERFACE ${VEXA_${lib}_LIBRARY})
  endforeach()
  target_link_libraries(vexa_crypto INTERFACE ws2_32 advapi32 kernel32)
else()
  target_link_libraries(vexa_crypto INTERFACE gcrypt gpg-error)
endif()
