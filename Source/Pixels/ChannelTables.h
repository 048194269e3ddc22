// Colours through one table of 256 values per channel.
#pragma once

#include <cstdint>
#include <cstring>

#include "Walks.h"

/// A channel's result for each of its values.
using ChannelTable = std::uint8_t[256];

struct ChannelTables {
    ChannelTable red;
    ChannelTable green;
    ChannelTable blue;
};

/// The formula that looks each channel up. It refers to the tables, which must outlive it.
class TableLookup : public MapsWords {
 public:
    explicit TableLookup(const ChannelTables& tables) : tables_(&tables) {}

    Pixel operator()(const Pixel& p) const {
        return {tables_->red[p.red], tables_->green[p.green], tables_->blue[p.blue]};
    }

    /// The same for a row of words, by vector instructions that look bytes up: compilers do not find them.
    void mapWords(std::uint8_t* target, const std::uint8_t* source, std::int64_t count,
                  std::uint32_t opaqueBits) const;

 private:
    const ChannelTables* tables_;
};

/// A new picture like the source with its colours through red(c), green(c) and blue(c), each a function from
/// a channel value to a byte. Null when the source cannot be read or the picture cannot be made.
template <class Red, class Green, class Blue>
REALpictureStruct* mapChannels(REALpictureStruct* source, Red red, Green green, Blue blue) {
    ChannelTables tables;
    for (int c = 0; c < 256; ++c) {
        tables.red[c] = red(c);
        tables.green[c] = green(c);
        tables.blue[c] = blue(c);
    }
    return mapPicture(source, TableLookup(tables));
}

/// The same with one function for all three channels.
template <class Function>
REALpictureStruct* mapChannels(REALpictureStruct* source, Function function) {
    ChannelTables tables;
    for (int c = 0; c < 256; ++c) tables.red[c] = function(c);
    std::memcpy(tables.green, tables.red, sizeof tables.red);
    std::memcpy(tables.blue, tables.red, sizeof tables.red);
    return mapPicture(source, TableLookup(tables));
}

/// `value` truncated toward zero; the smallest integer when it is not a number or lies beyond 32 bits.
std::int32_t truncateToInt32(double value);

/// A byte from a computed channel value: truncated to 32 bits as above, then clamped to 0..255. So a value
/// beyond 32 bits ends as 0, also a huge positive one (compatibility.md#too-much-is-nothing).
std::uint8_t channelByte(double value);
