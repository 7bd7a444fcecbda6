#pragma once

#include <windows.h>

#include <unknwn.h>

/// The entry points of the proxy and stub that the interface compiler generates, under the names that they
/// have inside the library.
EXTERN_C BOOL WINAPI PrxDllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds);
EXTERN_C HRESULT STDAPICALLTYPE PrxDllCanUnloadNow();
EXTERN_C HRESULT STDAPICALLTYPE PrxDllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out);
EXTERN_C HRESULT STDAPICALLTYPE PrxDllRegisterServer();
EXTERN_C HRESULT STDAPICALLTYPE PrxDllUnregisterServer();
