#pragma once

#include <gtest/gtest.h>
#include <objbase.h>
#include <wrl/client.h>

namespace qmf::test {

using Microsoft::WRL::ComPtr;

/// An apartment for the calling thread.
class Apartment {
 public:
  explicit Apartment(COINIT kind = COINIT_MULTITHREADED) {
    EXPECT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, static_cast<DWORD>(kind))));
  }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  ~Apartment() { ::CoUninitialize(); }
};

}  // namespace qmf::test
