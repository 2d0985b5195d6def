// The few platform functions that the fuzzed code calls, written for the host: as small as the
// product's use of them allows. This header has the parts of their behaviour that a fuzzer chooses.
#pragma once

#include <cstdint>
#include <string>

namespace fuzz {

/// How ::ExpandEnvironmentStringsW behaves.
struct Expansion {
  /// The thread's last error after calls with a buffer; 0 if they succeed.
  std::uint32_t error = 0;
  /// How often the text grows by one character. It grows after a call has counted it.
  unsigned int growths = 0;
  /// By how many characters the text is shorter than the count of a call without a buffer.
  unsigned int shrinkage = 0;
};

/// From now on.
void SetExpansion(Expansion expansion);

/// The expansion of a text. The environment is fixed: %A% is empty, %NAME% is "value", %LONG% is
/// 300 times 'x'.
std::wstring Expanded(const std::wstring& text);

/// The character by which an expanded text grows.
inline constexpr wchar_t kGrowth = L'+';

}  // namespace fuzz
