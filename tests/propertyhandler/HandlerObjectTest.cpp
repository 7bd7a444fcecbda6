#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <propertyhandler/QivoPropertyHandler.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/propertyhandler/FakeMedia.h"
#include "tests/propertyhandler/Handler.h"
#include "tests/support/FakeModule.h"

namespace qmf::test {
namespace {

using Properties = std::map<std::string, std::string>;

const Properties kAll = {{"Audio 3", "VT_UI8 54000000000"}, {"Video 3", "VT_UI4 1920"},
                         {"Video 4", "VT_UI4 1080"},        {"Video 6", "VT_UI4 25000"},
                         {"Audio 7", "VT_UI4 2"},           {"Audio 5", "VT_UI4 48000"},
                         {"Audio 6", "VT_UI4 16"}};

class HandlerObject : public testing::Test {
 protected:
  ~HandlerObject() override { EXPECT_EQ(OpenFakeInstances(), 0) << "a container was left open"; }

  Apartment m_apartment;
};

void ExpectNothingReadable(IPropertyStore& store) {
  DWORD count = 4711;
  PROPERTYKEY key{GUID_NULL, 4711};
  PROPVARIANT value{};
  value.vt = VT_I1;
  EXPECT_EQ(store.GetCount(&count), E_UNEXPECTED);
  EXPECT_EQ(store.GetAt(0, &key), E_UNEXPECTED);
  EXPECT_EQ(store.GetValue(kDurationKey, &value), E_UNEXPECTED);
  EXPECT_EQ(count, 4711U);
  EXPECT_EQ(key.pid, 4711U);
  EXPECT_EQ(value.vt, VT_I1);
}

void ExpectNothingWritable(IPropertyStore& store) {
  const PROPVARIANT value{};
  EXPECT_EQ(store.SetValue(kDurationKey, value), STG_E_ACCESSDENIED);
  EXPECT_EQ(store.Commit(), STG_E_ACCESSDENIED);
  ComPtr<IPropertyStoreCapabilities> capabilities;
  ASSERT_EQ(store.QueryInterface(IID_PPV_ARGS(capabilities.GetAddressOf())), S_OK);
  EXPECT_EQ(capabilities->IsPropertyWritable(kDurationKey), S_FALSE);
}

TEST_F(HandlerObject, GivesNothingBeforeInitializeAndIsNeverWritable) {
  Serve({});
  const auto handler = NewHandler();
  ExpectNothingReadable(*handler.Get());
  ExpectNothingWritable(*handler.Get());
  ASSERT_EQ(Initialize(*handler.Get(), L"film.mkv"), S_OK);
  ExpectNothingWritable(*handler.Get());
  EXPECT_EQ(PropertiesOf(*handler.Get()), kAll);
}

TEST_F(HandlerObject, FailsWhereNoTitleIsSelectedWithoutEvenAWarning) {
  for (const FakeMedia& media :
       {FakeMedia{.openResult = QMF_ERR_FILE_CORRUPT}, FakeMedia{.titleResult = QMF_FAILURE},
        FakeMedia{.titleResult = QMF_ERR_NO_INDEX_FOUND}}) {
    Serve(media);
    const auto handler = NewHandler();
    EXPECT_EQ(Initialize(*handler.Get(), L"film.mkv"), E_FAIL);
    ExpectNothingReadable(*handler.Get());
  }
}

TEST_F(HandlerObject, RefusesPathsThatNoModuleTakes) {
  ResetFakes();
  const auto handler = NewHandler();
  for (const wchar_t* const path : {L"film.mkv", L"", L";", L"a;b;c;d;e;f;g;h;i;j;k"}) {
    EXPECT_EQ(Initialize(*handler.Get(), path), E_FAIL);
  }
  ComPtr<IInitializeWithFile> initialize;
  ASSERT_EQ(handler.As(&initialize), S_OK);
  EXPECT_EQ(initialize->Initialize(nullptr, STGM_READ), E_FAIL);
}

TEST_F(HandlerObject, TakesASecondFileAndClosesTheFirst) {
  Serve({.width = 1});
  const auto handler = NewHandler();
  ASSERT_EQ(Initialize(*handler.Get(), L"first.mkv"), S_OK);
  Serve({.width = 2, .audioResult = QMF_FAILURE});
  ASSERT_EQ(Initialize(*handler.Get(), L"second.mkv"), S_OK);
  EXPECT_EQ(OpenFakeInstances(), 1);
  EXPECT_EQ(PropertiesOf(*handler.Get()).at("Video 3"), "VT_UI4 2");
  EXPECT_EQ(PropertiesOf(*handler.Get()).size(), 4U);

  Serve({.openResult = QMF_FAILURE});
  EXPECT_EQ(Initialize(*handler.Get(), L"third.mkv"), E_FAIL);
  EXPECT_EQ(PropertiesOf(*handler.Get()).at("Video 3"), "VT_UI4 2") << "stays as it was";
}

TEST_F(HandlerObject, LetsNoExceptionThrough) {
  const auto handler = NewHandler();
  for (auto* const getInfo :
       {+[](QMFModuleHandle, std::uint32_t, QMFQueryData*, std::uint32_t) -> QMFResult {
          throw std::bad_alloc();
        },
        +[](QMFModuleHandle, std::uint32_t, QMFQueryData*, std::uint32_t) -> QMFResult { throw 4711; }}) {
    Serve({});
    Fake(1).slots.GetInfo = getInfo;
    EXPECT_EQ(Initialize(*handler.Get(), L"film.mkv"), E_FAIL);
    ExpectNothingReadable(*handler.Get());
  }
}

TEST_F(HandlerObject, HasFourInterfacesAndOneIdentity) {
  const auto handler = NewHandler();
  ComPtr<IUnknown> identity;
  ASSERT_EQ(handler.As(&identity), S_OK);
  for (const IID& iid : {__uuidof(IUnknown), __uuidof(IQivoPropertyHandlerObj), __uuidof(IPropertyStore),
                         __uuidof(IPropertyStoreCapabilities), __uuidof(IInitializeWithFile)}) {
    ComPtr<IUnknown> other;
    ASSERT_EQ(handler->QueryInterface(iid, reinterpret_cast<void**>(other.GetAddressOf())), S_OK);
    ComPtr<IUnknown> again;
    ASSERT_EQ(other.As(&again), S_OK);
    EXPECT_EQ(again.Get(), identity.Get());
  }
  void* out = handler.Get();
  EXPECT_EQ(handler->QueryInterface(__uuidof(IInitializeWithStream), &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(handler->QueryInterface(__uuidof(IUnknown), nullptr), E_POINTER);
}

// No fixture: this thread has no apartment, so the platform cannot create its store.
TEST(HandlerObjectWithoutCom, SaysThatTheStoreIsMissing) {
  Serve({});
  {
    const auto handler = NewHandler();
    EXPECT_EQ(Initialize(*handler.Get(), L"film.mkv"), E_UNEXPECTED);
    ExpectNothingReadable(*handler.Get());
  }
  EXPECT_EQ(OpenFakeInstances(), 0);
}

void InThreads(int count, const std::function<void()>& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
}

// Each thread has objects of its own and all share one. What a reader of that sees between two files may be
// nothing, but never half of something.
TEST_F(HandlerObject, ServesManyThreads) {
  Serve({});
  const auto shared = NewHandler();
  InThreads(6, [&] {
    const Apartment apartment;
    for (int turn = 0; turn < 50; ++turn) {
      const auto own = NewHandler();
      ASSERT_EQ(Initialize(*own.Get(), L"film.mkv"), S_OK);
      ASSERT_EQ(PropertiesOf(*own.Get()), kAll);
      ASSERT_EQ(Initialize(*shared.Get(), L"film.mkv"), S_OK);
      for (int i = 0; i < 5000; ++i) {
        DWORD count = 0;
        const HRESULT result = shared->GetCount(&count);
        ASSERT_TRUE(result == E_UNEXPECTED || (result == S_OK && count == kAll.size()));
      }
    }
  });
  EXPECT_EQ(OpenFakeInstances(), 1);
  EXPECT_EQ(PropertiesOf(*shared.Get()), kAll);
}

}  // namespace
}  // namespace qmf::test
