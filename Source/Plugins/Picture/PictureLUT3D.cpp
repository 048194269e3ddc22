#include "PictureLUT3D.h"

#include <cstddef>
#include <iterator>

#include "ClassRows.h"
#include "Vectors.h"
#include "Walks.h"

namespace {

PictureLut3DData& dataOf(REALobjectStruct* object) {
    return instanceData<PictureLut3DData>(object, pictureLut3DClass);
}

void constructor(REALobjectStruct*) {}

void destructor(REALobjectStruct* object) {
    PictureLut3DData& data = dataOf(object);
    rbFreeNow(data.sourcePicture);
    rbFreeNow(data.destinationPicture);
}

/// The table's entry, or null for an index beyond the table.
double* entry(REALobjectStruct* object, std::uint32_t r, std::uint32_t g, std::uint32_t b, std::uint32_t x) {
    if (r >= lutPoints || g >= lutPoints || b >= lutPoints || x >= 3) return nullptr;
    return &dataOf(object).table[r][g][b][x];
}

double getTable(REALobjectStruct* object, std::uint32_t r, std::uint32_t g, std::uint32_t b,
                std::uint32_t x) {
    const double* const found = entry(object, r, g, b, x);
    return found ? *found : 0.0;
}

void setTable(REALobjectStruct* object, std::uint32_t r, std::uint32_t g, std::uint32_t b, std::uint32_t x,
              double value) {
    if (double* const found = entry(object, r, g, b, x)) *found = value;
}

/// Where each channel value lies on the grid.
struct Grid {
    int cell[256];
    double fraction[256];

    Grid() {
        for (int value = 0; value < 256; ++value) {
            cell[value] = std::min(value / 17 + 1, 15);
            fraction[value] = value % 17 / 17.0;
        }
    }
};

/// The three results of an entry, and what follows them in the table, which is not used.
using Results [[gnu::vector_size(32)]] = double;

/// Truncated and clamped; not a number gives 0.
int channelValue(double value) { return value > 0 ? static_cast<int>(std::min(value, 255.0)) : 0; }

/// Trilinear interpolation in the table, along blue, then green, then red.
struct Interpolation {
    const PictureLut3DData* data;
    const Grid* grid;

    Pixel operator()(const Pixel& p) const {
        // No cell is above 15, so that entries behind the last one read exist.
        const double* const cell = data->table[grid->cell[p.red]][grid->cell[p.green]][grid->cell[p.blue]];
        constexpr std::ptrdiff_t blue = 3, green = lutPoints * blue, red = lutPoints * green;
        const double alongBlue = grid->fraction[p.blue], alongGreen = grid->fraction[p.green],
                     alongRed = grid->fraction[p.red];
        const auto interpolateBlue = [=](Results& result, std::ptrdiff_t offset) {
            Results from, to;
            loadVector(from, cell + offset);
            loadVector(to, cell + offset + blue);
            result = from + (to - from) * alongBlue;
        };
        Results c00, c01, c10, c11;
        interpolateBlue(c00, 0);
        interpolateBlue(c01, green);
        interpolateBlue(c10, red);
        interpolateBlue(c11, red + green);
        const Results c0 = c00 + (c01 - c00) * alongGreen;
        const Results c1 = c10 + (c11 - c10) * alongGreen;
        const Results result = c0 + (c1 - c0) * alongRed;
        return {channelValue(result[0]), channelValue(result[1]), channelValue(result[2])};
    }
};

/// An axis of the area: from the minimum to the maximum, which counts only above the minimum.
Span axis(std::int64_t minimum, std::int64_t maximum, std::int64_t size) {
    return {std::max<std::int64_t>(minimum, 0), maximum <= minimum ? size : std::min(maximum, size)};
}

RBBoolean Run(REALobjectStruct* object) {
    static const Grid grid;
    PictureLut3DData& data = dataOf(object);
    PictureReader reader;
    if (!data.sourcePicture || !reader.GetPictureReader(data.sourcePicture)) return false;
    PictureWriter writer;
    if (!writer.NewPictureWriter(reader.width(), reader.height())) return false;
    const Span columns = axis(data.minX, data.maxX, reader.width());
    const Span rows = axis(data.minY, data.maxY, reader.height());
    const Area area{columns.begin, rows.begin, columns.end, rows.end, ColumnStart::pixel};
    const bool whole =
        columns.begin == 0 && rows.begin == 0 && columns.end == reader.width() && rows.end == reader.height();
    if (!whole) {
        mapPixels(
            writer, wholeArea(reader), [](const Pixel& p) { return p; }, reader);
    }
    mapPixels(writer, area, Interpolation{&data, &grid}, reader);
    REALpictureStruct* const result = writer.RenderPictureWriter();
    if (!result) return false;
    rbFreeNow(data.destinationPicture);
    data.destinationPicture = result;
    return true;
}

// clang-format off
REALproperty properties[] = {
    field("SourcePicture", "Picture", deferredConsoleSafe, offsetof(PictureLut3DData, sourcePicture)),
    field("DestinationPicture", "Picture", deferredConsoleSafe, offsetof(PictureLut3DData, destinationPicture)),
    field("MaxX", "Integer", deferredConsoleSafe, offsetof(PictureLut3DData, maxX)),
    field("MinX", "Integer", deferredConsoleSafe, offsetof(PictureLut3DData, minX)),
    field("MaxY", "Integer", deferredConsoleSafe, offsetof(PictureLut3DData, maxY)),
    field("MinY", "Integer", deferredConsoleSafe, offsetof(PictureLut3DData, minY)),
};

REALmethodDefinition methods[] = {
    method<destructor>("Close"),
    method<Run>("Run as boolean"),
    method<getTable, setTable>("Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double"),
};
// clang-format on

}  // namespace

REALclassDefinition pictureLut3DClass = {
    .name = "PictureLut3DQKZ",
    .dataSize = sizeof(PictureLut3DData),
    .constructor = HostCall<constructor>(),
    .destructor = HostCall<destructor>(),
    .properties = properties,
    .propertyCount = std::size(properties),
    .methods = methods,
    .methodCount = std::size(methods),
    .flags = REALconsoleSafe,
};
