#pragma once

#include <windows.h>

#include <unknwn.h>

/// What the library exports, and what the loader calls.
STDAPI DllCanUnloadNow();
STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out);
STDAPI DllRegisterServer();
STDAPI DllUnregisterServer();
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds);
