#pragma once

#include <windows.h>

#include <gtest/gtest.h>
#include <propertyhandler/QivoPropertyHandler.h>

#include <filesystem>
#include <string>

#include "tests/propertyhandler/Apartment.h"

namespace qmf::test {

/// QivoPropertyHandler.dll as it was built beside this program, or a copy of it, loaded.
class Library {
 public:
  explicit Library(const std::filesystem::path& path = Built()) : m_module(::LoadLibraryW(path.c_str())) {
    EXPECT_NE(m_module, nullptr) << path;
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { ::FreeLibrary(m_module); }

  static std::filesystem::path Built() {
    std::wstring program(32768, L'\0');
    program.resize(::GetModuleFileNameW(nullptr, program.data(), 32768));
    return std::filesystem::path(program).parent_path() / "QivoPropertyHandler.dll";
  }

  /// The class factory of its handler.
  ComPtr<IClassFactory> Factory() const {
    ComPtr<IClassFactory> factory;
    const auto entry = Find<decltype(&::DllGetClassObject)>("DllGetClassObject");
    EXPECT_EQ(entry(CLSID_QivoPropertyHandlerObj, IID_PPV_ARGS(factory.GetAddressOf())), S_OK);
    return factory;
  }

  /// Calls an exported function without arguments.
  HRESULT Call(const char* name) const {
    const auto function = Find<HRESULT(STDMETHODCALLTYPE*)()>(name);
    return function != nullptr ? function() : E_NOTIMPL;
  }

 private:
  template <class Function>
  Function Find(const char* name) const {
    return reinterpret_cast<Function>(::GetProcAddress(m_module, name));
  }

  HMODULE m_module;
};

}  // namespace qmf::test
