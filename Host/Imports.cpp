#include "Imports.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>

#include "Host.h"

namespace qkzhost {
namespace {

bool fails() { return !Host::current().faults.allowImport(); }

struct StandIn {
    template <class Function>
    StandIn(const char* symbol, Function stand) : name(symbol), function(reinterpret_cast<void*>(+stand)) {}
    const char* name;
    void* function;
};
const StandIn standIns[] = {
    {"malloc", [](std::size_t n) { return fails() ? nullptr : std::malloc(n); }},
    {"calloc", [](std::size_t n, std::size_t size) { return fails() ? nullptr : std::calloc(n, size); }},
    {"realloc", [](void* memory, std::size_t n) { return fails() ? nullptr : std::realloc(memory, n); }},
    // operator new, where a sanitizer has it: it is imported then.
    {"_Znwm", [](std::size_t n) { return fails() ? throw std::bad_alloc() : ::operator new(n); }},
    {"dlopen", [](const char* file, int mode) { return fails() ? nullptr : dlopen(file, mode); }},
    {"dlsym", [](void* library, const char* symbol) { return fails() ? nullptr : dlsym(library, symbol); }},
    {"fprintf", [](std::FILE*, const char*) { return fails() ? -1 : 0; }},
    {"fflush", [](std::FILE*) { return fails() ? -1 : 0; }},
    {"write", [](int, const void*, std::size_t n) { return fails() ? -1L : static_cast<long>(n); }},
};

/// What the library's dynamic section says of itself.
ElfW(Addr) dynamicEntry(const link_map& map, ElfW(Sxword) tag) {
    for (const ElfW(Dyn)* entry = map.l_ld; entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == tag) return entry->d_un.d_ptr;
    return 0;
}

}  // namespace

void redirectImports(void* library) {
    const link_map& map = *static_cast<const link_map*>(library);
    const auto* const symbols = reinterpret_cast<const ElfW(Sym)*>(dynamicEntry(map, DT_SYMTAB));
    const auto* const names = reinterpret_cast<const char*>(dynamicEntry(map, DT_STRTAB));
    const auto page = static_cast<ElfW(Addr)>(sysconf(_SC_PAGESIZE));
    for (const auto& [start, size] : {std::pair{DT_JMPREL, DT_PLTRELSZ}, std::pair{DT_RELA, DT_RELASZ}}) {
        const auto* entry = reinterpret_cast<const ElfW(Rela)*>(dynamicEntry(map, start));
        if (!entry || !symbols || !names) continue;
        for (const auto* const end = entry + dynamicEntry(map, size) / sizeof *entry; entry != end; ++entry) {
            for (const StandIn& standIn : standIns) {
                if (std::strcmp(names + symbols[ELF64_R_SYM(entry->r_info)].st_name, standIn.name) != 0) {
                    continue;
                }
                const ElfW(Addr) slot = map.l_addr + entry->r_offset;
                // The loader has made the slots read-only.
                if (mprotect(reinterpret_cast<void*>(slot / page * page), page, PROT_READ | PROT_WRITE) !=
                    0) {
                    throw std::system_error(errno, std::generic_category(), "mprotect");
                }
                std::memcpy(reinterpret_cast<void*>(slot), &standIn.function, sizeof standIn.function);
            }
        }
    }
}

}  // namespace qkzhost
