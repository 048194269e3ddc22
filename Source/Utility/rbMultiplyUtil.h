// The tables between plain and premultiplied colour values.
#pragma once

#include <cstdint>

/// 256 x 256 values, indexed [alpha][value].
using ByteTable = std::uint8_t[256][256];

struct MultiplyTables {
    /// Premultiply: round half up of value x alpha / 255, in single precision.
    const ByteTable& multiply;
    /// Its inverse. Of several values with the same product the largest counts; a value that is no product
    /// stays as it is.
    const ByteTable& unmultiply;
};

/// The tables, built on the first call and never freed; null when there was no memory for them then.
const MultiplyTables* InitMultiplyTable();
