#include "linux_imports.h"

#include <cstddef>
#include <cstring>
#include <elf.h>
#include <span>

// This program's image, as the linker names it.
extern "C" __attribute__((visibility("hidden"))) const Elf64_Ehdr __ehdr_start;
extern "C" __attribute__((visibility("hidden"))) const Elf64_Dyn _DYNAMIC[];

namespace testing_support {
namespace {

const Elf64_Dyn* Entry(Elf64_Sxword tag) {
  const Elf64_Dyn* entry = _DYNAMIC;
  while (entry->d_tag != tag && entry->d_tag != DT_NULL) {
    ++entry;
  }
  return entry;  // for a missing entry the last one, which is empty
}

template <class Type>
const Type* Table(Elf64_Sxword tag) {
  return reinterpret_cast<const Type*>(Entry(tag)->d_un.d_ptr);
}

void** FindSlot(Elf64_Sxword table, Elf64_Sxword size, const char* function) {
  const auto* symbols = Table<Elf64_Sym>(DT_SYMTAB);
  const auto* names = Table<char>(DT_STRTAB);
  for (const Elf64_Rela& slot :
       std::span(Table<Elf64_Rela>(table), Entry(size)->d_un.d_val / sizeof(Elf64_Rela))) {
    const auto type = ELF64_R_TYPE(slot.r_info);
    const bool isImport = type == R_X86_64_JUMP_SLOT || type == R_X86_64_GLOB_DAT;
    if (isImport && std::strcmp(names + symbols[ELF64_R_SYM(slot.r_info)].st_name, function) == 0) {
      return reinterpret_cast<void**>(reinterpret_cast<std::size_t>(&__ehdr_start) + slot.r_offset);
    }
  }
  return nullptr;
}

}  // namespace

void** FindLinuxImportSlot(const char* function) {
  if (*function == '_') {  // see winelib.h
    ++function;
  }
  void** slot = FindSlot(DT_JMPREL, DT_PLTRELSZ, function);
  return slot != nullptr ? slot : FindSlot(DT_RELA, DT_RELASZ, function);
}

}  // namespace testing_support
