// Libraries opened at run time.
#pragma once

/// The names to try for a system library, given its unversioned and its versioned file name.
#define QKZ_LIBRARY_PATHS(name, versioned)                                                           \
    {                                                                                                \
        name, versioned, "/usr/lib/" name, "/usr/lib/" versioned, "/usr/lib/x86_64-linux-gnu/" name, \
            "/usr/lib/x86_64-linux-gnu/" versioned, nullptr                                          \
    }

/// Opens the first of the named libraries that opens; `paths` ends with null. Null when none does.
void* dlopenMulti(const char* const* paths);
/// The name that the last `dlopenMulti` used; null when it found none.
const char* dlopenMultiPath();

/// The library of that name if the process has it already; null otherwise.
void* LoadedLibrary(const char* name);

/// The address of a library's symbol; null when there is none, or for a null library.
void* FindSymbol(void* library, const char* name);

/// Sets `function` to the library's symbol of that name, or to null.
template <class Function>
void ResolveSymbol(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(FindSymbol(library, name));
}
