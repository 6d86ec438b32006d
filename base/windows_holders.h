#pragma once

#include "pal/windows_api.h"
#include "vexa/holders.h"

// Owners of what Windows hands out.
namespace vexa::base {

template <class T>
struct HandlePolicy {
  using Type = T;
  static constexpr Type empty() { return nullptr; }
};

// A kernel object: event, thread.
struct KernelHandlePolicy : HandlePolicy<HANDLE> {
  static void release(HANDLE handle) { CloseHandle(handle); }
};
using KernelHandle = Holder<KernelHandlePolicy>;

struct LibraryPolicy : HandlePolicy<HMODULE> {
  static void release(HMODULE library) { FreeLibrary(library); }
};
using Library = Holder<LibraryPolicy>;

struct CertificateContextPolicy : HandlePolicy<PCCERT_CONTEXT> {
  static void release(PCCERT_CONTEXT context) { CertFreeCertificateContext(context); }
};
using CertificateContext = Holder<CertificateContextPolicy>;

struct CertificateStorePolicy : HandlePolicy<HCERTSTORE> {
  static void release(HCERTSTORE store) { CertCloseStore(store, 0); }
};
using CertificateStore = Holder<CertificateStorePolicy>;

struct ChainContextPolicy : HandlePolicy<PCCERT_CHAIN_CONTEXT> {
  static void release(PCCERT_CHAIN_CONTEXT chain) { CertFreeCertificateChain(chain); }
};
using ChainContext = Holder<ChainContextPolicy>;

// A block that Windows made for its caller, such as the texts of WinHTTP.
template <class T>
struct GlobalBlockPolicy : HandlePolicy<T> {
  static void release(T block) { GlobalFree(block); }
};
template <class T>
using GlobalBlock = Holder<GlobalBlockPolicy<T>>;

struct InternetHandlePolicy : HandlePolicy<HINTERNET> {
  static void release(HINTERNET handle) { WinHttpCloseHandle(handle); }
};
using InternetHandle = Holder<InternetHandlePolicy>;

}  // namespace vexa::base
