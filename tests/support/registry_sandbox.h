// A registry of the test's own behind HKEY_LOCAL_MACHINE.
//
// While a RegistrySandbox lives, HKEY_LOCAL_MACHINE of this process is an empty key below
// HKEY_CURRENT_USER, which goes with everything in it when the sandbox is destroyed. So the tests
// can also run on a machine whose settings matter.
#pragma once

#include <windows.h>

#include <cstdint>
#include <iosfwd>
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
/// For messages of failed expectations: the type by its name, text as text, all else as bytes.
void PrintTo(const RawValue& value, std::ostream* stream);

/// The stored form of a text: REG_SZ with its terminator.
RawValue RawText(const std::wstring& text, DWORD type = REG_SZ);
/// The stored form of a 32-bit number.
RawValue RawDword(std::uint32_t number);

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
  /// Whether nothing at all has been created.
  [[nodiscard]] bool Empty() const;

 private:
  std::wstring path_;
  HKEY root_ = nullptr;
};

}  // namespace testing_support
