#pragma once

#include <cstddef>

// For tests: what is open at this moment, facility by facility. A test that compares the number
// before and after sees what its subject has left open.
namespace pal::posix {

std::size_t openHandles();    // events and threads (sync)
std::size_t openLibraries();  // references taken by LoadLibraryA (library)
std::size_t heapBlocks();     // blocks of HeapAlloc and GlobalAlloc (heap)
std::size_t openSessions();   // WinHttpOpen (winhttp)

// Certificate stores and key containers (certstore).
std::size_t openStores();    // store handles
std::size_t openContexts();  // references to certificate contexts, those of the stores not counted
std::size_t openChains();
std::size_t openProviders();
std::size_t openKeys();
std::size_t storedKeys();  // keys kept in containers
// Empties all stores and removes all key containers. Handles stay open.
void clearCertificateStores();
void clearKeyContainers();

}  // namespace pal::posix
