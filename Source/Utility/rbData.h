// One view of bytes that the host owns: a string's or a memory block's.
#pragma once

#include "HostTypes.h"

/// Holds a lock on the string or block while it lives. `data` is null and `size` 0 where there are no bytes.
class rbData {
 public:
    explicit rbData(REALstringStruct* from);
    /// The block's bytes from `offset` on; a size of 0 means the block's own size, from which the offset is
    /// not subtracted. Neither offset nor size is checked against the block: callers do.
    explicit rbData(REALmemoryBlockStruct* from, unsigned long offset = 0, unsigned long bytes = 0);
    ~rbData();
    rbData(const rbData&) = delete;
    rbData& operator=(const rbData&) = delete;

    /// Forgets everything without releasing anything.
    void Clear();
    /// Releases what is held.
    void clear();

    REALstringStruct* string;
    REALmemoryBlockStruct* memoryBlock;
    REALstringData stringData;
    bool ownsStringData;
    std::uint8_t* data;
    std::uint64_t size;
    std::uint64_t reserved;

 private:
    /// The public constructors start with this one, so that the destructor runs when a service throws in
    /// them.
    rbData() { Clear(); }
    void dropSizeWithoutData();
};
