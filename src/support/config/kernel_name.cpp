#include "kernel_name.h"

#include <winternl.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

// Exported by ntdll.dll and documented for drivers; the headers for programs do not declare it.
extern "C" NTSTATUS NTAPI NtQueryKey(HANDLE keyHandle, int keyInformationClass,
                                     PVOID keyInformation, ULONG length, PULONG resultLength);

namespace tessel::config {
namespace {

// KEY_INFORMATION_CLASS::KeyNameInformation. Its result is KEY_NAME_INFORMATION: the length of the
// name in bytes as a ULONG, then the characters, without a terminating zero.
constexpr int kKeyNameInformation = 3;

}  // namespace

std::optional<StoragePath> QueryKernelName(HKEY key) {
  std::array<std::byte, 512> information;
  ULONG resultLength = 0;
  const NTSTATUS status = ::NtQueryKey(key, kKeyNameInformation, information.data(),
                                       static_cast<ULONG>(information.size()), &resultLength);
  if (status != 0) {
    return std::nullopt;
  }
  ULONG nameLength = 0;
  std::memcpy(&nameLength, information.data(), sizeof nameLength);
  std::wstring name(nameLength / sizeof(wchar_t), L'\0');
  std::memcpy(name.data(), information.data() + sizeof nameLength, name.size() * sizeof(wchar_t));
  return StoragePath(std::move(name), L'\\');
}

}  // namespace tessel::config
