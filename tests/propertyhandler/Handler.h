#pragma once

#include <gtest/gtest.h>
#include <propertyhandler/QivoPropertyHandler.h>

#include "framework/LogWriter.h"
#include "propertyhandler/DllExports.h"
#include "tests/propertyhandler/ShellObject.h"

namespace qmf::test {

/// Tells this program's own copy of the handler that it is loaded, and lets it keep no log.
inline bool LoadHandler() {
  const bool loaded = DllMain(::GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH, nullptr) != FALSE;
  SetLogOff();
  return loaded;
}

/// The class factory that this program's own copy of the handler gives out; the first call loads it.
inline ComPtr<IClassFactory> HandlerFactory() {
  static const bool loaded = LoadHandler();
  EXPECT_TRUE(loaded);
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(CLSID_QivoPropertyHandlerObj, IID_PPV_ARGS(factory.GetAddressOf())), S_OK);
  return factory;
}

/// A fresh object of this program's own copy of the handler.
inline ComPtr<IPropertyStore> NewHandler() {
  ComPtr<IPropertyStore> object;
  EXPECT_EQ(HandlerFactory()->CreateInstance(nullptr, IID_PPV_ARGS(object.GetAddressOf())), S_OK);
  return object;
}

}  // namespace qmf::test
