// Part of the shared object only. The C++ library that is linked into it takes these two from here: one that
// only newer C libraries have, and one of which the process may have a copy in use already.
#include "Uncaught.h"
#include "rbDL.h"

namespace {

using Counters = abi::__cxa_eh_globals* (*)();

/// Of the C++ library that the process has when we are loaded, most likely the host's; null where it has
/// none.
const auto countersOfHost =
    reinterpret_cast<Counters>(FindSymbol(LoadedLibrary("libstdc++.so.6"), "__cxa_get_globals"));

}  // namespace

extern "C" {

/// A promise of glibc 2.32 and later that saves atomic instructions: never given here.
[[gnu::visibility("hidden")]] char __libc_single_threaded = 0;

/// This thread's exceptions: those being handled, and the number of uncaught ones. With counters of our own
/// an exception of the host that is caught here would stay uncaught for the host.
abi::__cxa_eh_globals* __cxa_get_globals() noexcept {
    static thread_local ThreadExceptions own{};
    return countersOfHost ? countersOfHost() : reinterpret_cast<abi::__cxa_eh_globals*>(&own);
}

abi::__cxa_eh_globals* __cxa_get_globals_fast() noexcept { return __cxa_get_globals(); }

}  // extern "C"
