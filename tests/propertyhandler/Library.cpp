#include "tests/propertyhandler/Library.h"

#include <gtest/gtest.h>
#include <propertyhandler/QivoPropertyHandler.h>

namespace qmf::test {

std::filesystem::path Library::Built() {
  std::wstring program(32768, L'\0');
  program.resize(::GetModuleFileNameW(nullptr, program.data(), 32768));
  return std::filesystem::path(program).parent_path() / "QivoPropertyHandler.dll";
}

Library::Library(const std::filesystem::path& path) : m_module(::LoadLibraryW(path.c_str())) {
  EXPECT_NE(m_module, nullptr) << path;
}

ComPtr<IClassFactory> Library::Factory() const {
  const auto entry =
      reinterpret_cast<decltype(&::DllGetClassObject)>(::GetProcAddress(m_module, "DllGetClassObject"));
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(entry(CLSID_QivoPropertyHandlerObj, IID_PPV_ARGS(factory.GetAddressOf())), S_OK);
  return factory;
}

HRESULT Library::Call(const char* name) const {
  using Function = HRESULT(STDMETHODCALLTYPE*)();
  const auto function = reinterpret_cast<Function>(::GetProcAddress(m_module, name));
  return function != nullptr ? function() : E_NOTIMPL;
}

}  // namespace qmf::test
