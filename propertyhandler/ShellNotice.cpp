#include "propertyhandler/ShellNotice.h"

#include <windows.h>

#include <shlobj.h>

namespace qmf {

void TellShellOfChange() {
  // Loaded for this alone: hosts that only read properties need not have it. Windows knows it by name.
  const HMODULE shell = ::LoadLibraryW(L"shell32.dll");
  if (shell == nullptr) return;
  const auto notify =
      reinterpret_cast<decltype(&::SHChangeNotify)>(::GetProcAddress(shell, "SHChangeNotify"));
  if (notify != nullptr) notify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr);
  ::FreeLibrary(shell);
}

}  // namespace qmf
