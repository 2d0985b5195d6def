#include "support/import_hook.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>

#ifdef OSTREL_WINELIB
#include "sanitizers/linux_imports.h"
#endif

namespace testing_support {

void** FindImportSlot(const char* function) {
  auto* image = reinterpret_cast<std::byte*>(::GetModuleHandleW(nullptr));
  const auto* dosHeader = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  const auto* header = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dosHeader->e_lfanew);
  const auto& imports = header->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto* library =
      reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + imports.VirtualAddress);
  for (; library->Name != 0; ++library) {
    for (std::size_t offset = 0;; offset += sizeof(IMAGE_THUNK_DATA)) {
      IMAGE_THUNK_DATA lookup;  // a copy, because lld does not align the entries
      std::memcpy(&lookup, image + library->OriginalFirstThunk + offset, sizeof lookup);
      if (lookup.u1.AddressOfData == 0) {
        break;
      }
      if (IMAGE_SNAP_BY_ORDINAL(lookup.u1.Ordinal)) {
        continue;
      }
      const auto* byName =
          reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(image + lookup.u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) == 0) {
        return reinterpret_cast<void**>(image + library->FirstThunk + offset);
      }
    }
  }
#ifdef OSTREL_WINELIB
  if (void** slot = FindLinuxImportSlot(function)) {
    return slot;
  }
#endif
  throw std::runtime_error(std::string("not imported by this program: ") + function);
}

void* ExchangeImportSlot(void** slot, void* value) {
  DWORD protection = 0;
  ::VirtualProtect(static_cast<void*>(slot), sizeof *slot, PAGE_READWRITE, &protection);
  void* previous = ::InterlockedExchangePointer(slot, value);
  ::VirtualProtect(static_cast<void*>(slot), sizeof *slot, protection, &protection);
  return previous;
}

}  // namespace testing_support
