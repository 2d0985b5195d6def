// The few platform functions that the fuzzed code calls, for the host: as small as the product's
// use of them allows. What a fuzzer may choose about them stands here.
#pragma once

#include <cstdint>
#include <string>

namespace fuzz {

/// How ::ExpandEnvironmentStringsW behaves.
struct Expansion {
  /// The thread's last error of calls with a buffer; 0 when they succeed.
  std::uint32_t error = 0;
  /// How often the text grows by one character, each time after a call has counted it.
  unsigned int growths = 0;
  /// By how many characters the text is shorter than what a call without a buffer counts.
  unsigned int shrinkage = 0;
};

/// From now on.
void SetExpansion(Expansion expansion);

/// What a text expands to in the one environment that there is: %A% is empty, %NAME% is "value",
/// %LONG% is 300 times 'x'.
std::wstring Expanded(const std::wstring& text);

/// The character by which an expanded text grows.
inline constexpr wchar_t kGrowth = L'+';

}  // namespace fuzz
