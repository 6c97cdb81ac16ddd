#include "tests/proof/imports.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace proof {

namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kCallSlot = R_X86_64_JUMP_SLOT;
constexpr std::uint32_t kAddressSlot = R_X86_64_GLOB_DAT;
#elif defined(__aarch64__)
constexpr std::uint32_t kCallSlot = R_AARCH64_JUMP_SLOT;
constexpr std::uint32_t kAddressSlot = R_AARCH64_GLOB_DAT;
#endif

struct Tables {
  const Elf64_Sym* symbols = nullptr;
  const char* names = nullptr;
  const Elf64_Rela* calls = nullptr;
  std::size_t callBytes = 0;
  const Elf64_Rela* others = nullptr;
  std::size_t otherBytes = 0;
};

template <typename Pointer>
void take(Pointer*& target, const Elf64_Dyn& entry) {
  target = reinterpret_cast<Pointer*>(entry.d_un.d_ptr);
}

Tables tablesOf(const link_map& object) {
  Tables tables;
  for (const Elf64_Dyn* entry = object.l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_SYMTAB) take(tables.symbols, *entry);
    if (entry->d_tag == DT_STRTAB) take(tables.names, *entry);
    if (entry->d_tag == DT_JMPREL) take(tables.calls, *entry);
    if (entry->d_tag == DT_PLTRELSZ) tables.callBytes = entry->d_un.d_val;
    if (entry->d_tag == DT_RELA) take(tables.others, *entry);
    if (entry->d_tag == DT_RELASZ) tables.otherBytes = entry->d_un.d_val;
  }
  return tables;
}

// The linker has made them read-only after it had filled them.
void makeWritable(const void* slot) {
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  void* const start = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(slot) / page * page);
  if (::mprotect(start, page, PROT_READ | PROT_WRITE) != 0) {
    std::perror("mprotect");
    std::abort();
  }
}

void collect(const link_map& object, const Tables& tables, const Elf64_Rela* first, std::size_t bytes,
             std::vector<Import>& imports) {
  for (const Elf64_Rela* entry = first; entry != first + bytes / sizeof *first; ++entry) {
    const auto type = static_cast<std::uint32_t>(ELF64_R_TYPE(entry->r_info));
    if (type != kCallSlot && type != kAddressSlot) continue;
    const Elf64_Sym& symbol = tables.symbols[ELF64_R_SYM(entry->r_info)];
    const unsigned kind = ELF64_ST_TYPE(symbol.st_info);
    if (symbol.st_shndx != SHN_UNDEF || (kind != STT_FUNC && kind != STT_NOTYPE)) continue;
    auto** const slot = reinterpret_cast<void**>(object.l_addr + entry->r_offset);
    makeWritable(slot);
    imports.push_back({tables.names + symbol.st_name, slot});
  }
}

}  // namespace

std::vector<Import> importsOf(const void* address) {
  Dl_info info{};
  link_map* object = nullptr;
  std::vector<Import> imports;
  if (::dladdr1(address, &info, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0) return imports;
  const Tables tables = tablesOf(*object);
  collect(*object, tables, tables.calls, tables.callBytes, imports);
  collect(*object, tables, tables.others, tables.otherBytes, imports);
  return imports;
}

}  // namespace proof
