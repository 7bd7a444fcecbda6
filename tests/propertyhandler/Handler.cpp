#include "tests/propertyhandler/Handler.h"

#include <gtest/gtest.h>
#include <propertyhandler/QivoPropertyHandler.h>

#include "framework/LogWriter.h"
#include "propertyhandler/DllExports.h"

namespace qmf::test {
namespace {

bool Load() {
  const bool loaded = DllMain(::GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH, nullptr) != FALSE;
  SetLogOff();
  return loaded;
}

}  // namespace

ComPtr<IClassFactory> HandlerFactory() {
  static const bool loaded = Load();
  EXPECT_TRUE(loaded);
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(CLSID_QivoPropertyHandlerObj, IID_PPV_ARGS(factory.GetAddressOf())), S_OK);
  return factory;
}

ComPtr<IPropertyStore> NewHandler() {
  ComPtr<IPropertyStore> object;
  EXPECT_EQ(HandlerFactory()->CreateInstance(nullptr, IID_PPV_ARGS(object.GetAddressOf())), S_OK);
  return object;
}

}  // namespace qmf::test
