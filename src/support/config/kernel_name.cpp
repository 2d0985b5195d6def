#include "kernel_name.h"

#include <winternl.h>

#include <array>

// Exported by ntdll.dll and documented for drivers. The headers for programs do not declare it.
extern "C" NTSTATUS NTAPI NtQueryKey(HANDLE keyHandle, int keyInformationClass,
                                     PVOID keyInformation, ULONG length, PULONG resultLength);

namespace tessel::config {
namespace {

// KEY_INFORMATION_CLASS::KeyNameInformation. The query fills a KEY_NAME_INFORMATION: the length of
// the name in bytes, then its characters, without a terminating zero. The array below is the room
// for these characters.
constexpr int kKeyNameInformation = 3;
struct KeyNameInformation {
  ULONG length;
  std::array<wchar_t, 254> name;
};
static_assert(sizeof(KeyNameInformation) == 512);

}  // namespace

std::optional<StoragePath> QueryKernelName(HKEY key) {
  KeyNameInformation information;
  ULONG resultLength = 0;
  const NTSTATUS status = ::NtQueryKey(key, kKeyNameInformation, &information,
                                       static_cast<ULONG>(sizeof information), &resultLength);
  if (status != 0) {
    return std::nullopt;
  }
  return StoragePath({information.name.data(), information.length / sizeof(wchar_t)}, L'\\');
}

}  // namespace tessel::config
