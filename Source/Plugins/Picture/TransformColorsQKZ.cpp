#include "TransformColorsQKZ.h"

#include <cstring>

#include "ChannelTables.h"
#include "rbData.h"
#include "rbException.h"

namespace {

bool copyTable(ChannelTable& table, const rbData& block) {
    if (!block.data || block.size < sizeof table) return false;
    std::memcpy(table, block.data, sizeof table);
    return true;
}

}  // namespace

REALpictureStruct* TransformColorsQKZ(REALpictureStruct* picture, REALmemoryBlockStruct* red,
                                      REALmemoryBlockStruct* blue, REALmemoryBlockStruct* green,
                                      REALpictureStruct* destination) {
    const char* const missing = !picture ? "picture is nil"
                                : !red   ? "red memoryblock is nil"
                                : !green ? "green memoryblock is nil"
                                : !blue  ? "blue memoryblock is nil"
                                         : nullptr;
    if (missing) {
        RaiseException("NilObjectException", missing);
        return nullptr;
    }
    ChannelTables tables;
    if (!copyTable(tables.red, rbData(red)) || !copyTable(tables.green, rbData(green)) ||
        !copyTable(tables.blue, rbData(blue))) {
        return nullptr;
    }
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(destination, reader.width(), reader.height())) return nullptr;
    mapPixels(writer, wholeArea(reader), TableLookup(tables), reader);
    return writer.RenderPictureWriter();
}
