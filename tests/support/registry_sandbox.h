// A registry of the test's own behind HKEY_LOCAL_MACHINE.
//
// While a RegistrySandbox lives, HKEY_LOCAL_MACHINE of this process leads to a key below
// HKEY_CURRENT_USER, which is empty at first. Destroying the sandbox deletes that key with
// everything in it. So the tests can also run on a machine whose settings matter.
#pragma once

#include <windows.h>

#include <cstdint>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace testing_support {

/// A registry value as it is stored.
struct RawValue {
  DWORD type;
  std::vector<std::uint8_t> data;

  bool operator==(const RawValue&) const = default;
};
/// Prints a value in the message of a failed expectation: its type by name, then a text as text and
/// everything else as bytes.
void PrintTo(const RawValue& value, std::ostream* stream);

/// The stored form of a text: REG_SZ with its terminator.
RawValue RawText(const std::wstring& text, DWORD type = REG_SZ);
/// The stored form of a 32-bit number.
RawValue RawDword(std::uint32_t number);

/// Values by the paths of their keys and by their names.
using RegistryContents = std::map<std::wstring, std::map<std::wstring, RawValue>>;

class RegistrySandbox {
 public:
  RegistrySandbox();
  ~RegistrySandbox();
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;

  // The key is given as a path below HKEY_LOCAL_MACHINE with '\'.
  void Write(const std::wstring& key, const std::wstring& value, const RawValue& content) const;
  [[nodiscard]] std::optional<RawValue> Read(const std::wstring& key,
                                             const std::wstring& value) const;
  void CreateKey(const std::wstring& key) const;
  [[nodiscard]] bool KeyExists(const std::wstring& key) const;
  /// The names of the values that lie directly in a key, sorted.
  [[nodiscard]] std::vector<std::wstring> ValueNames(const std::wstring& key) const;
  /// All keys and their values.
  [[nodiscard]] RegistryContents Contents() const;
  /// Whether nothing has been created in the sandbox.
  [[nodiscard]] bool Empty() const;

 private:
  [[nodiscard]] std::vector<std::wstring> SubkeyNames(const std::wstring& key) const;

  std::wstring path_;
  HKEY root_ = nullptr;
};

}  // namespace testing_support
