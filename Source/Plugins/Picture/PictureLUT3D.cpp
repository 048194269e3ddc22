#include "PictureLUT3D.h"

#include <cstddef>
#include <iterator>
#include <memory>

#include "ClassRows.h"
#include "MyMemory.h"
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
    std::size_t cell[256];
    double fraction[256];

    Grid() {
        for (int value = 0; value < 256; ++value) {
            cell[value] = static_cast<std::size_t>(std::min(value / 17 + 1, 15));
            fraction[value] = value % 17 / 17.0;
        }
    }
};

/// The three results of an entry, and what follows them in the table, which is not used.
using Results [[gnu::vector_size(32)]] = double;

// The table's columns of entries along blue: how many numbers one takes, also with each level computed.
constexpr std::size_t tableColumn = std::size_t{3} * lutPoints, levelColumn = std::size_t{4} * 256;

/// Between two entries.
[[gnu::always_inline]] inline void interpolate(Results& from, const Results& to, double fraction) {
    from = from + (to - from) * fraction;
}

/// Along green, then red, between four results along blue. Truncated and clamped; not a number gives 0.
[[gnu::always_inline]] inline Pixel interpolated(Results& c00, const Results& c01, Results& c10,
                                                 const Results& c11, double alongGreen, double alongRed) {
    interpolate(c00, c01, alongGreen);
    interpolate(c10, c11, alongGreen);
    interpolate(c00, c10, alongRed);
    using Channels32 [[gnu::vector_size(16)]] = std::int32_t;
    const Results positive = c00 > 0 ? c00 : Results{};
    const auto channels = __builtin_convertvector(positive < 255 ? positive : Results{} + 255, Channels32);
    return {channels[0], channels[1], channels[2]};
}

/// Trilinear interpolation in the table, along blue, then green, then red.
struct Interpolation {
    const PictureLut3DData* data;
    const Grid* grid;

    Pixel operator()(const Pixel& p) const {
        // No cell is above 15, so that entries behind the last one read exist.
        const double* const cell = data->table[grid->cell[p.red]][grid->cell[p.green]][grid->cell[p.blue]];
        const auto alongBlue = [=, fraction = grid->fraction[p.blue]](Results& result, std::size_t column) {
            const double* const entry = cell + tableColumn * column;
            Results to;
            loadVector(result, entry);
            loadVector(to, entry + 3);
            interpolate(result, to, fraction);
        };
        Results c00, c01, c10, c11;
        alongBlue(c00, 0);
        alongBlue(c01, 1);
        alongBlue(c10, lutPoints);
        alongBlue(c11, lutPoints + 1);
        return interpolated(c00, c01, c10, c11, grid->fraction[p.green], grid->fraction[p.red]);
    }
};

/// The same where the interpolation along blue has been done for every level: three instead of seven. Worth
/// its making for large areas.
class InterpolationOfLevels {
 public:
    static constexpr std::int64_t worthwhilePixels = 1 << 19;

    /// Null when there is no memory.
    static std::unique_ptr<double, MemoryDeleter> makeLevels(const PictureLut3DData& data, const Grid& grid) {
        std::unique_ptr<double, MemoryDeleter> levels(static_cast<double*>(
            AllocateMemory(static_cast<std::int64_t>(levelColumn * lutPoints * lutPoints * sizeof(double)))));
        if (!levels) return levels;
        double* next = levels.get();
        for (const auto& red : data.table) {
            for (const auto& green : red) {
                for (int blue = 0; blue < 256; ++blue, next += 4) {
                    const double* const entry = green[grid.cell[blue]];
                    for (std::size_t i = 0; i < 3; ++i) {
                        next[i] = entry[i] + (entry[i + 3] - entry[i]) * grid.fraction[blue];
                    }
                    next[3] = 0;
                }
            }
        }
        return levels;
    }

    InterpolationOfLevels(const double* levels, const Grid& grid) : levels_(levels), grid_(&grid) {}

    Pixel operator()(const Pixel& p) const {
        const std::size_t column = lutPoints * grid_->cell[p.red] + grid_->cell[p.green];
        const double* const from =
            levels_ + levelColumn * column + std::size_t{4} * static_cast<unsigned>(p.blue);
        Results c00, c01, c10, c11;
        loadVector(c00, from);
        loadVector(c01, from + levelColumn);
        loadVector(c10, from + levelColumn * lutPoints);
        loadVector(c11, from + levelColumn * (lutPoints + 1));
        return interpolated(c00, c01, c10, c11, grid_->fraction[p.green], grid_->fraction[p.red]);
    }

 private:
    const double* levels_;
    const Grid* grid_;
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
    std::unique_ptr<double, MemoryDeleter> levels;
    const bool empty = area.right <= area.left || area.bottom <= area.top;  // by any distance
    if (!empty &&
        (area.right - area.left) * (area.bottom - area.top) >= InterpolationOfLevels::worthwhilePixels) {
        levels = InterpolationOfLevels::makeLevels(data, grid);
    }
    if (levels) {
        mapPixels(writer, area, InterpolationOfLevels(levels.get(), grid), reader);
    } else {
        mapPixels(writer, area, Interpolation{&data, &grid}, reader);
    }
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
