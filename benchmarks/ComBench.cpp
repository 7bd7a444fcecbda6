// What the Shell pays for a file under Windows: create the object, Initialize, read every value, release;
// beside one opening with one read of 4 KiB, and beside the framework's part of it, with its log and without.
// Prints a line of JSON for each file: com_bench FILE...

#include <windows.h>

#include <objbase.h>
#include <propertyhandler/QivoPropertyHandler.h>  // Generated from the interface definition.
#include <propsys.h>
#include <wrl/client.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "framework/LogWriter.h"
#include "framework/Text.h"
#include "propertyhandler/DllExports.h"
#include "propertyhandler/PropertyValues.h"

namespace qmf::bench {
namespace {

using Microsoft::WRL::ComPtr;

constexpr int kRuns = 20;
constexpr int kRounds = 41;

const wchar_t* AsWide(const std::u16string& path) {
  return reinterpret_cast<const wchar_t*>(path.c_str());
}

bool TouchFile(const std::u16string& path) {
  const HANDLE file =
      ::CreateFileW(AsWide(path), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  char bytes[4096];
  DWORD arrived = 0;
  const bool read = ::ReadFile(file, bytes, sizeof(bytes), &arrived, nullptr) && arrived > 0;
  ::CloseHandle(file);
  return read;
}

bool ReadByFramework(const std::u16string& path) {
  QMFContainer* container = nullptr;
  if (OpenContainer(&container, path.c_str(), nullptr) != QMF_OK) return false;
  const bool selected = SetTitle(container, 0) == QMF_OK;
  if (selected) (void)ReadPropertyValues(container);
  return CloseContainer(container) == QMF_OK && selected;
}

DWORD ReadValues(IPropertyStore& store) {
  DWORD count = 0;
  if (FAILED(store.GetCount(&count))) return 0;
  for (DWORD i = 0; i < count; ++i) {
    PROPERTYKEY key;
    PROPVARIANT value;
    if (FAILED(store.GetAt(i, &key)) || FAILED(store.GetValue(key, &value))) return 0;
    ::PropVariantClear(&value);
  }
  return count;
}

// With the log, as it was left by the contender before.
bool ReadByObject(const std::u16string& path) {
  ComPtr<IClassFactory> factory;
  ComPtr<IInitializeWithFile> object;
  ComPtr<IPropertyStore> store;
  return SUCCEEDED(::DllGetClassObject(CLSID_QivoPropertyHandlerObj, IID_PPV_ARGS(factory.GetAddressOf()))) &&
         SUCCEEDED(factory->CreateInstance(nullptr, IID_PPV_ARGS(object.GetAddressOf()))) &&
         SUCCEEDED(object->Initialize(AsWide(path), STGM_READ)) && SUCCEEDED(object.As(&store)) &&
         ReadValues(*store.Get()) > 0;
}

bool ReadByFrameworkUnlogged(const std::u16string& path) {
  SetLogOff();
  return ReadByFramework(path);
}

bool ReadByFrameworkLogged(const std::u16string& path) {
  static const std::u16string folder = [] {
    std::u16string name(MAX_PATH, u'\0');
    name.resize(::GetTempPathW(MAX_PATH, reinterpret_cast<wchar_t*>(name.data())));
    return name;
  }();
  return SetLogFolder(folder) == QMF_OK && ReadByFramework(path);
}

struct Contender {
  const char* name;
  bool (*run)(const std::u16string& path);
  std::vector<double> nanoseconds{};
};

double Now() {
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// The contenders take turns, so that what disturbs the machine disturbs all of them.
bool Measure(std::vector<Contender>& contenders, const std::u16string& path) {
  for (int round = 0; round < kRounds; ++round) {
    for (Contender& each : contenders) {
      if (!each.run(path)) return false;
      const double start = Now();
      for (int i = 0; i < kRuns; ++i) each.run(path);
      each.nanoseconds.push_back((Now() - start) / kRuns);
    }
  }
  return true;
}

double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace
}  // namespace qmf::bench

int wmain(int count, wchar_t** arguments) {
  using namespace qmf::bench;
  // The library's own code is linked in, so that it and the framework alone are compared as one build.
  if (!::DllMain(::GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH, nullptr) ||
      FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
    return EXIT_FAILURE;
  }
  for (int i = 1; i < count; ++i) {
    const std::u16string path = reinterpret_cast<const char16_t*>(arguments[i]);
    std::vector<Contender> contenders = {{"floor_ns", TouchFile},
                                         {"unlogged_ns", ReadByFrameworkUnlogged},
                                         {"framework_ns", ReadByFrameworkLogged},
                                         {"com_ns", ReadByObject}};
    if (!Measure(contenders, path)) {
      std::fputs("a file cannot be read\n", stderr);
      return EXIT_FAILURE;
    }
    nlohmann::ordered_json found = {{"file", qmf::ToUtf8(path)}};
    for (Contender& each : contenders) found[each.name] = Median(each.nanoseconds);
    std::puts(found.dump().c_str());
  }
  return EXIT_SUCCESS;
}
