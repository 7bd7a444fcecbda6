#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

#include "tests/propertyhandler/Apartment.h"

namespace qmf::test {

/// QivoPropertyHandler.dll as it was built beside this program, or a copy of it, loaded.
class Library {
 public:
  explicit Library(const std::filesystem::path& path = Built());
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { ::FreeLibrary(m_module); }

  static std::filesystem::path Built();

  /// The class factory of its handler.
  ComPtr<IClassFactory> Factory() const;

  /// Calls an exported function without arguments.
  HRESULT Call(const char* name) const;

 private:
  HMODULE m_module;
};

}  // namespace qmf::test
