#include "propertyhandler/RegistryLeftovers.h"

#include <windows.h>

#include <initializer_list>

namespace qmf {
namespace {

struct ValueRow {
  HKEY root;
  const wchar_t* key;
  const wchar_t* value;
};

constexpr wchar_t kAssociations[] = L"SystemFileAssociations";
constexpr wchar_t kMkv[] = L"SystemFileAssociations\\.mkv";
constexpr wchar_t kQivo[] = L"SystemFileAssociations\\.qivo";
constexpr wchar_t kApproved[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";

const ValueRow kValues[] = {
    {HKEY_CLASSES_ROOT, kMkv, L"ExtendedTileInfo"},
    {HKEY_CLASSES_ROOT, kMkv, L"FullDetails"},
    {HKEY_CLASSES_ROOT, kMkv, L"InfoTip"},
    {HKEY_CLASSES_ROOT, kMkv, L"PreviewDetails"},
    {HKEY_CLASSES_ROOT, kQivo, L"ExtendedTileInfo"},
    {HKEY_CLASSES_ROOT, kQivo, L"FullDetails"},
    {HKEY_CLASSES_ROOT, kQivo, L"InfoTip"},
    {HKEY_CLASSES_ROOT, kQivo, L"PreviewDetails"},
    {HKEY_LOCAL_MACHINE, kApproved, L"{D8D1CE8C-B1EB-4E95-B63B-1531BA60E992}"},
};

bool IsEmptyKey(HKEY root, const wchar_t* key) {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root, key, 0, KEY_READ, &opened) != ERROR_SUCCESS) return false;
  DWORD keys = 0;
  DWORD values = 0;
  const LSTATUS status = ::RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &keys, nullptr, nullptr,
                                            &values, nullptr, nullptr, nullptr, nullptr);
  ::RegCloseKey(opened);
  return status == ERROR_SUCCESS && keys == 0 && values == 0;
}

}  // namespace

void RemoveRegistryLeftovers() {
  for (const auto& [root, key, value] : kValues) (void)::RegDeleteKeyValueW(root, key, value);
  for (const wchar_t* const key : {kMkv, kQivo, kAssociations}) {
    if (IsEmptyKey(HKEY_CLASSES_ROOT, key)) (void)::RegDeleteKeyW(HKEY_CLASSES_ROOT, key);
  }
}

}  // namespace qmf
