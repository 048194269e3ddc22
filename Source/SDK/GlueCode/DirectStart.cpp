// The shared object is also a program: it names the standard loader and prints its banner when started.
#include <unistd.h>

#include "PluginMain.h"

extern "C" [[gnu::visibility("default"), gnu::used, gnu::section(".interp")]] const char elf_interpreter[] =
    "/lib64/ld-linux-x86-64.so.2";

// No C run-time start-up precedes this entry: the stack is as the loader left it and nothing is cleaned up.
[[gnu::force_align_arg_pointer]] void libEntry() {
    // The date stays: compatibility.md#the-banners-date
    constexpr char banner[] = "QKZ Plugin, version " QKZ_VERSION ", built Nov 11 2024\n";
    static_assert(sizeof banner - 1 == 44, "tools expect the banner's 44 bytes");
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, banner, sizeof banner - 1);
    _exit(0);
}
