#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oleauto.h>
#include <propertyhandler/QivoPropertyHandler.h>

#include <vector>

#include "tests/propertyhandler/Apartment.h"
#include "tests/propertyhandler/Library.h"

// What the library's file says of itself: headers, exports, imports and resources.

namespace qmf::test {
namespace {

template <class T>
const T* At(HMODULE module, DWORD offset) {
  return reinterpret_cast<const T*>(reinterpret_cast<const char*>(module) + offset);
}

const IMAGE_OPTIONAL_HEADER64& Header(HMODULE module) {
  const auto offset = static_cast<DWORD>(At<IMAGE_DOS_HEADER>(module, 0)->e_lfanew);
  return At<IMAGE_NT_HEADERS64>(module, offset)->OptionalHeader;
}

std::vector<std::string> Exports(HMODULE module) {
  const auto* const table = At<IMAGE_EXPORT_DIRECTORY>(
      module, Header(module).DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  EXPECT_EQ(table->NumberOfFunctions, table->NumberOfNames);
  std::vector<std::string> names;
  for (DWORD i = 0; i < table->NumberOfNames; ++i) {
    names.emplace_back(At<char>(module, At<DWORD>(module, table->AddressOfNames)[i]));
  }
  return names;
}

std::vector<std::string> Imports(HMODULE module) {
  std::vector<std::string> names;
  const DWORD table = Header(module).DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto* entry = At<IMAGE_IMPORT_DESCRIPTOR>(module, table); entry->Name != 0; ++entry) {
    names.emplace_back(At<char>(module, entry->Name));
  }
  return names;
}

TEST(LibraryFile, ExportsTheFourFunctionsOfAComServerAndNothingElse) {
  const Library library;
  EXPECT_THAT(Exports(library.Module()), testing::ElementsAre("DllCanUnloadNow", "DllGetClassObject",
                                                              "DllRegisterServer", "DllUnregisterServer"));
}

TEST(LibraryFile, NeedsNothingThatTheSystemDoesNotBring) {
  const Library library;
  std::wstring system(MAX_PATH, L'\0');
  system.resize(::GetSystemDirectoryW(system.data(), MAX_PATH));
  const auto imports = Imports(library.Module());
  EXPECT_FALSE(imports.empty());
  for (const std::string& name : imports) {
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(system) / name)) << name;
  }
}

TEST(LibraryFile, MayLieAnywhereAndRunsNoData) {
  const Library library;
  constexpr unsigned kHighEntropy = sizeof(void*) == 8 ? 0x20 : 0;
  constexpr unsigned kWanted =
      IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT | kHighEntropy;
  EXPECT_EQ(Header(library.Module()).DllCharacteristics & kWanted, kWanted);
  EXPECT_NE(Header(library.Module()).DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size, 0U);
}

std::wstring VersionText(const wchar_t* name) {
  const std::wstring path = Library::Built().wstring();
  std::vector<char> block(::GetFileVersionInfoSizeW(path.c_str(), nullptr));
  void* text = nullptr;
  UINT length = 0;
  if (!::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
      !::VerQueryValueW(block.data(), (std::wstring(L"\\StringFileInfo\\040904B0\\") + name).c_str(), &text,
                        &length)) {
    return {};
  }
  return static_cast<const wchar_t*>(text);
}

TEST(LibraryFile, CarriesItsResources) {
  const Library library;
  const auto has = [&](int number, const wchar_t* type) {
    return ::FindResourceW(library.Module(), MAKEINTRESOURCEW(number), type) != nullptr;
  };
  EXPECT_TRUE(has(101, L"REGISTRY"));
  EXPECT_TRUE(has(102, L"REGISTRY"));
  EXPECT_TRUE(has(2, MAKEINTRESOURCEW(24))) << "manifest";
  wchar_t name[64] = {};
  ::LoadStringW(library.Module(), 7, name, 64);
  EXPECT_STREQ(name, L"QivoPropertyHandler");
  EXPECT_EQ(VersionText(L"ProductName"), L"Qivo Property Handler");
  EXPECT_EQ(VersionText(L"OriginalFilename"), L"QivoPropertyHandler.dll");
  EXPECT_NE(VersionText(L"FileVersion"), L"");
}

TEST(LibraryFile, DescribesItsClassInATypeLibrary) {
  ComPtr<ITypeLib> types;
  ASSERT_EQ(::LoadTypeLibEx(Library::Built().c_str(), REGKIND_NONE, types.GetAddressOf()), S_OK);
  ComPtr<ITypeInfo> info;
  ASSERT_EQ(types->GetTypeInfoOfGuid(CLSID_QivoPropertyHandlerObj, info.GetAddressOf()), S_OK);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
  EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
  info->ReleaseTypeAttr(attributes);
  EXPECT_EQ(types->GetTypeInfoOfGuid(__uuidof(IQivoPropertyHandlerObj), info.ReleaseAndGetAddressOf()), S_OK);
}

}  // namespace
}  // namespace qmf::test
