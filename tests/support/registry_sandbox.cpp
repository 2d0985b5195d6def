#include "support/registry_sandbox.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "support/import_hook.h"

namespace testing_support {
namespace {

void Check(LSTATUS status, const char* what) {
  if (status != ERROR_SUCCESS) {
    throw std::runtime_error(std::string(what) + ": " + std::to_string(status));
  }
}

// By their numbers.
constexpr std::array kTypeNames = {"REG_NONE",   "REG_SZ",      "REG_EXPAND_SZ",
                                   "REG_BINARY", "REG_DWORD",   "REG_DWORD_BIG_ENDIAN",
                                   "REG_LINK",   "REG_MULTI_SZ"};

bool IsText(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ || type == REG_LINK;
}

// The names that an enumeration gives for a key, sorted; none when there is no such key.
template <class Enumerate>
std::vector<std::wstring> Names(HKEY root, const std::wstring& key, Enumerate enumerate) {
  std::vector<std::wstring> names;
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
    return names;
  }
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    DWORD length = 256;
    if (enumerate(opened, index, name, &length) != ERROR_SUCCESS) {
      break;
    }
    names.emplace_back(name, length);
  }
  ::RegCloseKey(opened);
  std::ranges::sort(names);
  return names;
}

bool IsPredefined(HKEY key) {
  const auto number = reinterpret_cast<ULONG_PTR>(key);
  const auto first = reinterpret_cast<ULONG_PTR>(HKEY_CLASSES_ROOT);
  return number >= first && number < first + 0x100;
}

// A program may close a predefined key, but Windows then forgets that the key leads to the sandbox.
// So in a program with sandboxes this hook, which is below all hooks of its tests, keeps such calls
// from the platform.
LSTATUS WINAPI CloseUnlessPredefined(HKEY key);
const auto kCloseKey = reinterpret_cast<decltype(&::RegCloseKey)>(ExchangeImportSlot(
    FindImportSlot("RegCloseKey"), reinterpret_cast<void*>(&CloseUnlessPredefined)));
LSTATUS WINAPI CloseUnlessPredefined(HKEY key) {
  return IsPredefined(key) ? ERROR_SUCCESS : kCloseKey(key);
}

}  // namespace

void PrintTo(const RawValue& value, std::ostream* stream) {
  if (value.type < kTypeNames.size()) {
    *stream << kTypeNames[value.type] << ' ';
  } else {
    *stream << "type " << value.type << ' ';
  }
  if (IsText(value.type) && value.data.size() % sizeof(wchar_t) == 0) {
    // With the terminator, so that one too many or too few can be seen.
    std::wstring text(value.data.size() / sizeof(wchar_t), L'\0');
    std::ranges::copy(value.data, reinterpret_cast<std::uint8_t*>(text.data()));
    *stream << ::testing::PrintToString(text);
  } else {
    *stream << ::testing::PrintToString(value.data);
  }
}

RawValue RawText(const std::wstring& text, DWORD type) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
  return {type, {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)}};
}

RawValue RawDword(std::uint32_t number) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&number);
  return {REG_DWORD, {bytes, bytes + sizeof number}};
}

RegistrySandbox::RegistrySandbox()
    : path_(L"Software\\ostrel-test\\" + std::to_wstring(::GetCurrentProcessId())) {
  // Not volatile: below a volatile key only volatile keys can be created.
  Check(::RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_ALL_ACCESS, nullptr, &root_, nullptr),
        "create the sandbox");
  Check(::RegDeleteTreeW(root_, nullptr), "empty the sandbox");
  Check(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, root_), "enter the sandbox");
  // Nothing may be written before this is certain: it would go into the machine's real settings.
  const std::wstring mark = L"mark of the sandbox";
  CreateKey(mark);
  Check(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, mark.c_str()), "be in the sandbox");
}

RegistrySandbox::~RegistrySandbox() {
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  ::RegDeleteTreeW(root_, nullptr);
  ::RegCloseKey(root_);
  ::RegDeleteKeyW(HKEY_CURRENT_USER, path_.c_str());
}

void RegistrySandbox::Write(const std::wstring& key, const std::wstring& value,
                            const RawValue& content) const {
  // After a text without a terminator the platform looks for one, and would store it too.
  std::vector<std::uint8_t> data = content.data;
  data.insert(data.end(), sizeof(wchar_t), 0xFF);
  Check(::RegSetKeyValueW(root_, key.c_str(), value.c_str(), content.type, data.data(),
                          static_cast<DWORD>(content.data.size())),
        "write into the sandbox");
}

std::optional<RawValue> RegistrySandbox::Read(const std::wstring& key,
                                              const std::wstring& value) const {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root_, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  std::optional<RawValue> result(std::in_place);
  DWORD size = 0;
  LSTATUS status =
      ::RegQueryValueExW(opened, value.c_str(), nullptr, &result->type, nullptr, &size);
  if (status == ERROR_SUCCESS) {
    result->data.resize(size);
    status =
        ::RegQueryValueExW(opened, value.c_str(), nullptr, nullptr, result->data.data(), &size);
  }
  ::RegCloseKey(opened);
  return status == ERROR_SUCCESS ? result : std::nullopt;
}

void RegistrySandbox::CreateKey(const std::wstring& key) const {
  HKEY created = nullptr;
  Check(::RegCreateKeyExW(root_, key.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                          nullptr, &created, nullptr),
        "create a key in the sandbox");
  ::RegCloseKey(created);
}

bool RegistrySandbox::KeyExists(const std::wstring& key) const {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root_, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
    return false;
  }
  ::RegCloseKey(opened);
  return true;
}

std::vector<std::wstring> RegistrySandbox::ValueNames(const std::wstring& key) const {
  return Names(root_, key, [](HKEY opened, DWORD index, wchar_t* name, DWORD* length) {
    return ::RegEnumValueW(opened, index, name, length, nullptr, nullptr, nullptr, nullptr);
  });
}

std::vector<std::wstring> RegistrySandbox::SubkeyNames(const std::wstring& key) const {
  return Names(root_, key, [](HKEY opened, DWORD index, wchar_t* name, DWORD* length) {
    return ::RegEnumKeyExW(opened, index, name, length, nullptr, nullptr, nullptr, nullptr);
  });
}

RegistryContents RegistrySandbox::Contents() const {
  RegistryContents contents;
  std::vector<std::wstring> keys = SubkeyNames(L"");
  while (!keys.empty()) {
    const std::wstring key = std::move(keys.back());
    keys.pop_back();
    auto& values = contents[key];
    for (const std::wstring& name : ValueNames(key)) {
      values[name] = Read(key, name).value();
    }
    for (const std::wstring& name : SubkeyNames(key)) {
      keys.push_back(std::wstring(key).append(L"\\").append(name));
    }
  }
  return contents;
}

bool RegistrySandbox::Empty() const {
  DWORD subkeys = 0;
  DWORD values = 0;
  Check(::RegQueryInfoKeyW(root_, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                           nullptr, nullptr, nullptr, nullptr),
        "look into the sandbox");
  return subkeys == 0 && values == 0;
}

}  // namespace testing_support
