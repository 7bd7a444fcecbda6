#pragma once

#include <windows.h>

namespace qmf {

/// Writes the library's application id, the handler's class and the Shell's routing of .mkv and .qivo into
/// the registry, by the registrar scripts among the library's resources.
HRESULT RegisterServer();

/// Removes all that RegisterServer wrote and leaves what others wrote beside it. Goes on after a failure and
/// gives the first one.
HRESULT UnregisterServer();

}  // namespace qmf
