#include "MyMemory.h"

#include <cstdlib>

void* AllocateClearMemory(std::int64_t size) {
    return size < 1 ? nullptr : std::calloc(1, static_cast<std::size_t>(size));
}

void* AllocateMemory(std::int64_t size) {
    return size < 1 ? nullptr : std::malloc(static_cast<std::size_t>(size));
}

void FreeMemoryNow(void* memory) { std::free(memory); }
