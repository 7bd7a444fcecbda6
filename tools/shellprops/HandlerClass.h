#pragma once

#include <windows.h>

#include <unknwn.h>
#include <wrl/client.h>

#include <string>

namespace qmf {

/// Where handler objects come from: the registry, as for the Shell, or a library named outright.
class HandlerClass {
 public:
  /// An empty `library` means the registered one.
  explicit HandlerClass(std::u16string library) : m_library(std::move(library)) {}

  HRESULT Create(Microsoft::WRL::ComPtr<IUnknown>& object) const;

 private:
  HRESULT CreateByLibrary(Microsoft::WRL::ComPtr<IUnknown>& object) const;

  const std::u16string m_library;
};

}  // namespace qmf
