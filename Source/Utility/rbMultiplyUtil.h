// The tables between plain and premultiplied colour values.
#pragma once

#include <cstdint>

/// 256 x 256 values, indexed [alpha][value].
using ByteTable = std::uint8_t[256][256];

struct MultiplyTables {
    MultiplyTables();
    /// Premultiply: round half up of value x alpha / 255, in single precision.
    ByteTable multiply;
    /// Its inverse. Of several values with the same product the largest counts; a value that is no product
    /// stays as it is.
    ByteTable unmultiply;
};

/// The tables, built on the first call in memory that is always there. Inversion comes to the same without
/// them, so nothing calls this yet: it is for operations to come.
const MultiplyTables& InitMultiplyTable();
