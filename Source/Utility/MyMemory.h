// The plug-in's own memory.
#pragma once

#include <cstdint>

/// Zero-filled memory of `size` bytes, or null when size is below 1 or memory runs out.
void* AllocateClearMemory(std::int64_t size);
/// The same memory with anything in it.
void* AllocateMemory(std::int64_t size);
/// Frees what these gave; null is allowed.
void FreeMemoryNow(void* memory);

/// Deleter for std::unique_ptr over memory of `AllocateClearMemory`.
struct MemoryDeleter {
    void operator()(void* memory) const { FreeMemoryNow(memory); }
};
