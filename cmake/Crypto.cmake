# vexa_crypto: libgcrypt for the reference runtime, for both targets. Static on Windows,
# so that the runtime DLL imports only Windows' own DLLs.
add_library(vexa_crypto INTERFACE)
if(WIN32)
  foreach(lib gcrypt gpg-error)
    find_library(VEXA_${lib}_LIBRARY NAMES lib${lib}.a REQUIRED)
    target_link_libraries(vexa_crypto INTERFACE ${VEXA_${lib}_LIBRARY})
  endforeach()
  target_link_libraries(vexa_crypto INTERFACE ws2_32 advapi32 kernel32)
  # Functions of these libraries that runtime/ replaces: system_random_windows.cpp says why for the
  # gatherers, libgcrypt.cpp for malloc, system_objects_windows.cpp for the others.
  foreach(replaced _gcry_rndw32_gather_random _gcry_rndw32_gather_random_fast
                   _gcry_private_malloc _gpg_w32_bindtextdomain __imp_TlsAlloc __imp_TlsFree
                   __imp_InitializeCriticalSection __imp_DeleteCriticalSection)
    target_link_options(vexa_crypto INTERFACE -Wl,--wrap=${replaced})
  endforeach()
else()
  target_link_libraries(vexa_crypto INTERFACE gcrypt gpg-error)
endif()
