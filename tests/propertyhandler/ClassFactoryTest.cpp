#include <gtest/gtest.h>
#include <propertyhandler/QivoPropertyHandler.h>

#include <propsys.h>

#include "framework/LogWriter.h"
#include "propertyhandler/DllExports.h"
#include "tests/propertyhandler/Handler.h"

namespace qmf::test {
namespace {

class ClassFactory : public testing::Test {
 protected:
  ClassFactory() { EXPECT_NE(HandlerFactory().Get(), nullptr); }
  ~ClassFactory() override { EXPECT_EQ(DllCanUnloadNow(), S_OK) << "something still holds the library"; }
};

TEST_F(ClassFactory, IsOneForTheHandlersClassAndNoOther) {
  const auto first = HandlerFactory();
  EXPECT_EQ(first.Get(), HandlerFactory().Get());
  void* out = first.Get();
  EXPECT_EQ(DllGetClassObject(__uuidof(IUnknown), __uuidof(IClassFactory), &out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr);
  out = first.Get();
  EXPECT_EQ(DllGetClassObject(CLSID_QivoPropertyHandlerObj, __uuidof(IPropertyStore), &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(DllGetClassObject(CLSID_QivoPropertyHandlerObj, __uuidof(IClassFactory), nullptr), E_POINTER);
  EXPECT_EQ(DllGetClassObject(__uuidof(IUnknown), __uuidof(IClassFactory), nullptr), E_POINTER);
}

TEST_F(ClassFactory, AnswersNothingWhileTheLibraryIsNotInitialised) {
  void* out = this;
  const HINSTANCE instance = ::GetModuleHandleW(nullptr);
  DllMain(instance, DLL_PROCESS_DETACH, nullptr);
  EXPECT_EQ(DllGetClassObject(CLSID_QivoPropertyHandlerObj, __uuidof(IClassFactory), nullptr), E_UNEXPECTED);
  EXPECT_EQ(DllGetClassObject(CLSID_QivoPropertyHandlerObj, __uuidof(IClassFactory), &out), E_UNEXPECTED);
  DllMain(instance, DLL_PROCESS_ATTACH, nullptr);
  SetLogOff();
  EXPECT_NE(HandlerFactory().Get(), nullptr);
}

TEST_F(ClassFactory, CreatesObjectsButNoAggregates) {
  const auto factory = HandlerFactory();
  const auto outer = NewHandler();
  void* out = outer.Get();
  EXPECT_EQ(factory->CreateInstance(outer.Get(), __uuidof(IPropertyStore), &out), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(IPropertyStore), nullptr), E_POINTER);
  out = outer.Get();
  EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(IClassFactory), &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  ComPtr<IUnknown> inner;
  EXPECT_EQ(factory->CreateInstance(outer.Get(), IID_PPV_ARGS(inner.GetAddressOf())), S_OK);
  EXPECT_NE(inner.Get(), nullptr);
}

TEST_F(ClassFactory, KeepsTheLibraryLoadedWhileAnythingOfItIsHeld) {
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  auto factory = HandlerFactory();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  auto object = NewHandler();
  factory.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  object.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_OK);

  EXPECT_EQ(HandlerFactory()->LockServer(TRUE), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(HandlerFactory()->LockServer(FALSE), S_OK);
}

TEST_F(ClassFactory, StandsBehindTheProxyFactoryOfTheObjectsOwnInterface) {
  ComPtr<IPSFactoryBuffer> proxies;
  ASSERT_EQ(DllGetClassObject(__uuidof(IQivoPropertyHandlerObj), IID_PPV_ARGS(proxies.GetAddressOf())), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
}

}  // namespace
}  // namespace qmf::test
