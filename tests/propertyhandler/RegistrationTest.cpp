#include <windows.h>

#include <gtest/gtest.h>
#include <oleauto.h>
#include <propertyhandler/QivoPropertyHandler.h>
#include <propsys.h>

#include <map>
#include <thread>
#include <vector>

#include "tests/propertyhandler/Apartment.h"
#include "tests/propertyhandler/Library.h"
#include "tests/propertyhandler/Registry.h"

// These tests write the registry of the machine, or of the Wine prefix, that they run in.

namespace qmf::test {
namespace {

constexpr wchar_t kClasses[] = L"Software\\Classes\\";
constexpr wchar_t kWindows[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\";
constexpr wchar_t kName[] = L"Qivo Property Handler";
constexpr wchar_t kClass[] = L"{D8D1CE8C-B1EB-4E95-B63B-1531BA60E992}";
constexpr wchar_t kApplication[] = L"{A347EE76-5A4C-4FBE-972C-0F82B947B269}";
constexpr wchar_t kInterface[] = L"{4D1F3F6B-7C0E-4B8E-9C55-2E9A6B1D7F30}";
constexpr wchar_t kTile[] =
    L"prop:System.ItemType;System.Size;System.Media.Duration;System.OfflineAvailability";
constexpr wchar_t kFullDetails[] =
    L"prop:System.PropGroup.Description;System.Title;System.Media.SubTitle;System.Rating;"
    L"System.Keywords;System.Comment;System.PropGroup.Video;System.Media.Duration;"
    L"System.Video.FrameWidth;System.Video.FrameHeight;System.Video.FrameRate;System.PropGroup.Audio;"
    L"System.Audio.ChannelCount;System.Audio.SampleRate;System.PropGroup.FileSystem;"
    L"System.ItemNameDisplay;System.ItemType;System.ItemFolderPathDisplay;System.Size;"
    L"System.DateCreated;System.DateModified;System.FileAttributes;System.OfflineAvailability;"
    L"System.OfflineStatus;System.SharedWith;System.FileOwner;System.ComputerName";
constexpr wchar_t kPreviewDetails[] =
    L"prop:*System.Title;*System.Media.Duration;*System.Size;*System.Video.FrameWidth;"
    L"*System.Video.FrameHeight;System.Rating;*System.Keywords;*System.Comment;*System.Music.Artist;"
    L"*System.Music.Genre;*System.ParentalRating;*System.OfflineAvailability;*System.OfflineStatus;"
    L"*System.DateModified;*System.DateCreated;*System.SharedWith;*System.Media.SubTitle;"
    L"*System.Media.Year;*System.Video.FrameRate;*System.Video.EncodingBitrate;"
    L"*System.Video.TotalBitrate";

class Registration : public testing::Test {
 protected:
  // Registered and removed once, so that the parents that are never removed are there.
  Registration() {
    EXPECT_EQ(m_library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(m_library.Call("DllUnregisterServer"), S_OK);
  }
  ~Registration() override { m_library.Call("DllUnregisterServer"); }

  Apartment m_apartment;
  Library m_library;
};

RegistryContent Everything() {
  RegistryContent content;
  for (const wchar_t* const key : {kClasses, kWindows}) ReadRegistry(key, content);
  return content;
}

// Every key with its values, the default value without a name.
RegistryContent WrittenFor(const std::wstring& library) {
  const std::wstring classes = kClasses;
  const std::wstring classKey = classes + L"CLSID\\" + kClass;
  const std::wstring proxyKey = classes + L"CLSID\\" + kInterface;
  const std::wstring interfaceKey = classes + L"Interface\\" + kInterface;
  struct Row {
    std::wstring key;
    std::map<std::wstring, std::wstring> values;
  };
  std::vector<Row> rows = {
      {classes + L"AppID\\" + kApplication, {{L"", kName}}},
      {classes + L"AppID\\QivoPropertyHandler.DLL", {{L"AppID", kApplication}}},
      {classes + L"Qivo.PropertyHandler.1", {{L"", kName}}},
      {classes + L"Qivo.PropertyHandler.1\\CLSID", {{L"", kClass}}},
      {classes + L"Qivo.PropertyHandler", {{L"", kName}}},
      {classes + L"Qivo.PropertyHandler\\CLSID", {{L"", kClass}}},
      {classes + L"Qivo.PropertyHandler\\CurVer", {{L"", L"Qivo.PropertyHandler.1"}}},
      {classKey, {{L"", kName}}},
      {classKey + L"\\ProgID", {{L"", L"Qivo.PropertyHandler.1"}}},
      {classKey + L"\\VersionIndependentProgID", {{L"", L"Qivo.PropertyHandler"}}},
      {classKey + L"\\InprocServer32", {{L"", library}, {L"ThreadingModel", L"Free"}}},
      {classKey + L"\\TypeLib", {{L"", L"{}"}}},
      // The proxy and stub, as the platform registers them.
      {proxyKey, {{L"", L"PSFactoryBuffer"}}},
      {proxyKey + L"\\InProcServer32", {{L"", library}, {L"ThreadingModel", L"Both"}}},
      {interfaceKey, {{L"", L"IQivoPropertyHandlerObj"}}},
      {interfaceKey + L"\\NumMethods", {{L"", L"3"}}},
      {interfaceKey + L"\\ProxyStubClsid32", {{L"", kInterface}}},
      {classes + L"SystemFileAssociations", {}},
  };
  for (const wchar_t* const extension : {L".mkv", L".qivo"}) {
    rows.push_back({classes + L"SystemFileAssociations\\" + extension,
                    {{L"ExtendedTileInfo", kTile},
                     {L"FullDetails", kFullDetails},
                     {L"InfoTip", kTile},
                     {L"PreviewDetails", kPreviewDetails}}});
    rows.push_back(
        {std::wstring(kWindows) + L"PropertySystem\\PropertyHandlers\\" + extension, {{L"", kClass}}});
  }
  RegistryContent written;
  for (const auto& [key, values] : rows) {
    written[key + L"\\"];
    for (const auto& [name, text] : values) written[key + L"\\@" + name] = text;
  }
  written[kWindows + (L"Shell Extensions\\Approved\\@" + std::wstring(kClass))] = kName;
  return written;
}

TEST_F(Registration, WritesExactlyWhatTheShellNeedsAndTakesItBack) {
  const RegistryContent before = Everything();
  RegistryContent expected = WrittenFor(Library::Built().wstring());
  if (const auto parent = std::wstring(kClasses) + L"SystemFileAssociations\\"; before.contains(parent)) {
    expected.erase(parent);
  }
  for (const char* const time : {"first", "second"}) {
    ASSERT_EQ(m_library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(Added(before, Everything()), expected) << time;
  }
  EXPECT_EQ(m_library.Call("DllUnregisterServer"), S_OK);
  m_library.Call("DllUnregisterServer");  // Where there is nothing, it takes nothing back.
  EXPECT_EQ(Everything(), before);
}

TEST_F(Registration, LeavesAloneWhatOthersWroteBesideIt) {
  const RegistryContent before = Everything();
  const wchar_t foreign[] = L"{00000000-1111-2222-3333-444444444444}";
  const std::wstring associations = std::wstring(kClasses) + L"SystemFileAssociations";
  const std::wstring application = std::wstring(kClasses) + L"AppID\\" + foreign;
  const std::wstring handler = std::wstring(kWindows) + L"PropertySystem\\PropertyHandlers\\.avi";
  const std::wstring approved = std::wstring(kWindows) + L"Shell Extensions\\Approved";
  const struct {
    std::wstring key;
    const wchar_t* name;
    std::wstring text;
  } rows[] = {
      {associations + L"\\.mkv", L"PerceivedType", L"video"},
      {associations + L"\\.qivo\\shell\\play", L"", L"Play"},
      {associations + L"\\.avi", L"InfoTip", L"prop:System.Size"},
      {application, L"", L"Foreign"},
      {handler, L"", foreign},
      {approved, foreign, L"Foreign"},
  };
  for (const auto& [key, name, text] : rows) {
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    EXPECT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.c_str(), bytes),
              ERROR_SUCCESS);
  }
  const RegistryContent others = Everything();
  EXPECT_EQ(m_library.Call("DllRegisterServer"), S_OK);
  EXPECT_EQ(Added(Everything(), others), RegistryContent{});
  EXPECT_EQ(m_library.Call("DllUnregisterServer"), S_OK);
  EXPECT_EQ(Everything(), others);

  for (const std::wstring& key : {associations, application, handler}) {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
  }
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, approved.c_str(), foreign);
  EXPECT_EQ(Everything(), before);
}

TEST_F(Registration, WritesAnyPathOfTheLibrary) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / L"it's \x00fc 100%";
  std::filesystem::create_directories(folder);
  const std::filesystem::path copy = folder / "QivoPropertyHandler.dll";
  std::filesystem::copy_file(Library::Built(), copy, std::filesystem::copy_options::overwrite_existing);
  {
    const RegistryContent before = Everything();
    const Library library(copy);
    EXPECT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(
        Added(before, Everything())[kClasses + (L"CLSID\\" + std::wstring(kClass)) + L"\\InprocServer32\\@"],
        copy.wstring());
    EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
  }
  std::filesystem::remove_all(folder);
}

TEST_F(Registration, LetsEveryKindOfApartmentCreateTheHandler) {
  // Registration itself needs no apartment of its caller.
  std::thread([this] { ASSERT_EQ(m_library.Call("DllRegisterServer"), S_OK); }).join();
  for (const COINIT kind : {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}) {
    std::thread([kind] {
      const Apartment apartment(kind);
      ComPtr<IInitializeWithFile> initialize;
      EXPECT_EQ(::CoCreateInstance(CLSID_QivoPropertyHandlerObj, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_PPV_ARGS(initialize.GetAddressOf())),
                S_OK)
          << kind;
      ASSERT_NE(initialize.Get(), nullptr);
      EXPECT_EQ(initialize->Initialize(L"C:\\missing.mkv", STGM_READ), E_FAIL);
    }).join();
  }
}

TEST(Library, DescribesItsClassInATypeLibrary) {
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
