// Host strings made of bytes.
#pragma once

#include "HostTypes.h"

/// A new host string of `count` bytes in the given encoding. For the unknown encoding it is an ASCII string
/// when every byte is below 128, and a string without encoding otherwise. Null when the count is negative or
/// beyond what the host takes (31 bits), or the host cannot build it.
REALstringStruct* REALBuildUnicodeString(const void* bytes, std::int64_t count, std::uint32_t encoding);
