#include "rbDL.h"

#include <dlfcn.h>

#include <atomic>

#ifdef __GLIBC__  // by the versions that every one has: the current ones came with 2.34
asm(".symver dlopen, dlopen@GLIBC_2.2.5");
asm(".symver dlsym, dlsym@GLIBC_2.2.5");
#endif

namespace {
std::atomic<const char*> openedPath = nullptr;
}

void* dlopenMulti(const char* const* paths) {
    openedPath = nullptr;
    for (; *paths; ++paths) {
        if (void* const library = dlopen(*paths, RTLD_NOW)) {
            openedPath = *paths;
            return library;
        }
    }
    return nullptr;
}

const char* dlopenMultiPath() { return openedPath; }

void* LoadedLibrary(const char* name) { return dlopen(name, RTLD_LAZY | RTLD_NOLOAD); }

void* FindSymbol(void* library, const char* name) { return library ? dlsym(library, name) : nullptr; }
