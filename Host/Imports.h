// The calls of the C library that a loaded plug-in makes.
#pragma once

namespace qkzhost {

/// Puts stand-ins that ask Faults::allowImport in the place of what a library, as dlopen gave it, imports.
void redirectImports(void* library);

}  // namespace qkzhost
