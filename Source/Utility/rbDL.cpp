#include "rbDL.h"

#include <dlfcn.h>

namespace {
const char* openedPath = nullptr;
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

void* FindSymbol(void* library, const char* name) { return library ? dlsym(library, name) : nullptr; }
