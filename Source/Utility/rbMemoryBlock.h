// The host's memory blocks.
#pragma once

#include "HostTypes.h"

/// The address of a block's bytes; null for a null block.
void* MyREALMemoryBlockGetPtr(REALmemoryBlockStruct* block);
/// The number of a block's bytes; 0 for a null block.
std::int64_t MyREALMemoryBlockGetSize(REALmemoryBlockStruct* block);
/// A new block of `size` bytes with one reference for the caller; null when the size is negative or the host
/// cannot make it. A host exception on the way is swallowed.
REALmemoryBlockStruct* MyREALNewMemoryBlock(std::int64_t size);
