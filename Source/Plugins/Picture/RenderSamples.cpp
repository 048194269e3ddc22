#include "RenderSamples.h"

#include <cmath>
#include <utility>
#include <vector>

#include "Walks.h"
#include "rbData.h"

namespace {

/// One number a column. Lines are given like this too, in rows from the top: a point in every column.
using Columns = std::vector<double>;

/// For each column its lowest and its highest number.
struct Envelope {
    Columns lowest;
    Columns highest;
};

/// Samples of any width, all brought to the range of 32 bits.
template <std::size_t bytes>
struct Samples {
    const std::uint8_t* data;
    std::int64_t count;

    std::int32_t operator[](std::int64_t i) const {
        std::uint32_t word = 0;
        std::memcpy(reinterpret_cast<std::uint8_t*>(&word) + (sizeof word - bytes),
                    data + i * static_cast<std::int64_t>(bytes), bytes);
        if constexpr (bytes == 1) word ^= 0x80000000;  // 8 bits are unsigned
        return static_cast<std::int32_t>(word);
    }
};

constexpr double fullScale = 0x80000000;

template <std::size_t bytes>
double loudest(Samples<bytes> samples) {
    std::int32_t low = 0;
    std::int32_t high = 0;
    for (std::int64_t i = 0; i < samples.count; ++i) {
        low = std::min(low, samples[i]);
        high = std::max(high, samples[i]);
    }
    return std::max(-static_cast<double>(low), static_cast<double>(high));
}

/// What falls on each column, where there are at least as many samples as columns.
template <std::size_t bytes>
Envelope extremes(Samples<bytes> samples, std::int64_t width) {
    Envelope result;
    // count * x / width without its product, which may not fit
    const auto start = [=](std::int64_t x) {
        return samples.count / width * x + samples.count % width * x / width;
    };
    for (std::int64_t x = 0; x < width; ++x) {
        const std::int64_t end = start(x + 1);
        std::int32_t low = samples[end - 1];
        std::int32_t high = low;
        for (std::int64_t i = start(x); i < end; ++i) {
            low = std::min(low, samples[i]);
            high = std::max(high, samples[i]);
        }
        result.lowest.push_back(low);
        result.highest.push_back(high);
    }
    return result;
}

/// The line through fewer samples than columns, from the first column to the last.
template <std::size_t bytes>
Columns interpolated(Samples<bytes> samples, std::int64_t width) {
    Columns result;
    for (std::int64_t x = 0; x < width; ++x) {
        const std::int64_t position = x * (samples.count - 1);
        const std::int64_t i = position / (width - 1);
        const std::int64_t fraction = position % (width - 1);
        double value = samples[i];
        if (fraction > 0) {
            value +=
                (samples[i + 1] - value) * static_cast<double>(fraction) / static_cast<double>(width - 1);
        }
        result.push_back(value);
    }
    return result;
}

/// The mean of `window` columns around each, as far as there are as many.
Columns smoothed(const Columns& values, std::int64_t window) {
    const auto size = static_cast<std::int64_t>(values.size());
    window = std::min(window, 2 * size);
    if (window <= 1) return values;
    Columns sums{0};
    for (const double value : values) sums.push_back(sums.back() + value);
    Columns result;
    for (std::int64_t x = 0; x < size; ++x) {
        const std::int64_t begin = std::max<std::int64_t>(x - window / 2, 0);
        const std::int64_t end = std::min(x + (window + 1) / 2, size);
        const double sum = sums[static_cast<std::size_t>(end)] - sums[static_cast<std::size_t>(begin)];
        result.push_back(sum / static_cast<double>(end - begin));
    }
    return result;
}

template <std::size_t bytes>
Envelope envelopeOf(Samples<bytes> samples, const PictureEditor& picture, std::int64_t smooth,
                    bool autoScale) {
    Envelope result;
    if (samples.count < picture.width()) {
        result.lowest = result.highest = interpolated(samples, picture.width());
    } else {
        result = extremes(samples, picture.width());
    }
    const double peak = autoScale ? loudest(samples) : fullScale;
    const double middle = static_cast<double>(picture.height() - 1) / 2;
    for (Columns* const values : {&result.lowest, &result.highest}) {
        *values = smoothed(*values, smooth);
        for (double& value : *values) value = middle - (peak > 0 ? value / peak : 0) * middle;
    }
    std::swap(result.lowest, result.highest);  // rows count downwards
    return result;
}

/// The envelope as it is seen without outlines: columns are at least one pixel high and reach halfway to
/// neighbours that they do not meet.
Envelope joined(const Envelope& envelope) {
    const auto& [lowest, highest] = envelope;
    Envelope result;
    for (std::size_t x = 0; x < lowest.size(); ++x) {
        double top = lowest[x] - 0.5;
        double bottom = highest[x] + 0.5;
        for (const std::size_t beside : {x - 1, x + 1}) {
            if (beside >= lowest.size()) continue;
            top = std::min(top, (lowest[x] + highest[beside]) / 2);
            bottom = std::max(bottom, (highest[x] + lowest[beside]) / 2);
        }
        result.lowest.push_back(top);
        result.highest.push_back(bottom);
    }
    return result;
}

/// What a round pen of the given radius covers as its middle follows the line.
Envelope penTrack(const Columns& line, double radius) {
    // The line at each half column and the pen's height there, for the pen reaches across steep parts.
    Columns points;
    for (std::size_t x = 0; x < line.size(); ++x) {
        if (x > 0) points.push_back((line[x - 1] + line[x]) / 2);
        points.push_back(line[x]);
    }
    Columns reach;
    for (double distance = 0; distance <= radius; distance += 0.5) {
        reach.push_back(std::sqrt(radius * radius - distance * distance));
    }
    Envelope result;
    for (std::size_t at = 0; at < points.size(); at += 2) {
        double top = points[at] - radius;
        double bottom = points[at] + radius;
        for (std::size_t i = 1; i < reach.size(); ++i) {
            for (const std::size_t point : {at - i, at + i}) {
                if (point >= points.size()) continue;
                top = std::min(top, points[point] - reach[i]);
                bottom = std::max(bottom, points[point] + reach[i]);
            }
        }
        result.lowest.push_back(top);
        result.highest.push_back(bottom);
    }
    return result;
}

template <class Target>
class Canvas {
 public:
    explicit Canvas(PictureWriter& writer) : width_(writer.width()) {
        for (std::int64_t y = 0; y < writer.height(); ++y) rows_.push_back(writer.GetRow(y));
    }

    /// Blends the colour over what is there. `coverage` is 0..1. Nothing happens outside the picture.
    void drawPixel(std::int64_t x, std::int64_t y, const Pixel& color, double coverage) {
        if (x < 0 || x >= width_ || y < 0 || y >= height()) return;
        std::uint8_t* const row = rows_[static_cast<std::size_t>(y)];
        if (!row) return;
        std::uint8_t* const place = row + x * Target::bytes;
        const Pixel old = Target::load(place);
        const auto blend = [=](int from, int to) {
            return static_cast<int>(from + (to - from) * coverage + 0.5);
        };
        Target::storeOpaque(
            place, {blend(old.red, color.red), blend(old.green, color.green), blend(old.blue, color.blue)});
    }

    /// Draws the pixels whose middles are within the envelope.
    void drawEnvelope(const Envelope& envelope, const Pixel& color) {
        for (std::int64_t x = 0; x < width_; ++x) {
            const auto i = static_cast<std::size_t>(x);
            const Span span = rowsWithin(envelope.lowest[i], envelope.highest[i]);
            for (std::int64_t y = span.begin; y < span.end; ++y) {
                std::uint8_t* const row = rows_[static_cast<std::size_t>(y)];
                if (row) Target::storeOpaque(row + x * Target::bytes, color);
            }
        }
    }

    /// Draws an anti-aliased line in Wu's manner, one pixel wide: where it is flat, two rows share each
    /// column's point; where it is steep, two columns share each row's.
    void drawWuLine(const Columns& line, const Pixel& color) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            const auto x = static_cast<std::int64_t>(i);
            const double y = line[i];
            const double before = i > 0 ? y - line[i - 1] : 0;
            const double after = i + 1 < line.size() ? line[i + 1] - y : 0;
            const bool turns = before * after < 0;
            if (turns || std::min(std::abs(before), std::abs(after)) <= 1) {
                const double row = std::floor(y);
                drawPixel(x, static_cast<std::int64_t>(row), color, 1 - (y - row));
                drawPixel(x, static_cast<std::int64_t>(row) + 1, color, y - row);
            }
            if (std::abs(after) <= 1) continue;
            const Span span = rowsWithin(std::min(y, y + after), std::max(y, y + after));
            for (std::int64_t row = span.begin; row < span.end; ++row) {
                const double right = std::clamp((static_cast<double>(row) - y) / after, 0.0, 1.0);
                drawPixel(x, row, color, 1 - right);
                drawPixel(x + 1, row, color, right);
            }
        }
    }

    /// Draws an anti-aliased line of any width from 1 on.
    void drawThickLine(const Columns& line, double lineWidth, const Pixel& color) {
        if (lineWidth == 1) return drawWuLine(line, color);
        const Envelope track = penTrack(line, (lineWidth - 1) / 2);
        drawEnvelope(track, color);
        drawWuLine(track.lowest, color);
        drawWuLine(track.highest, color);
    }

 private:
    std::int64_t height() const { return static_cast<std::int64_t>(rows_.size()); }

    /// The picture's rows from top to bottom, which may be anywhere not too far for 64 bits.
    Span rowsWithin(double top, double bottom) const {
        return {std::max<std::int64_t>(static_cast<std::int64_t>(std::ceil(top)), 0),
                std::min(static_cast<std::int64_t>(std::floor(bottom)) + 1, height())};
    }

    std::int64_t width_;
    std::vector<std::uint8_t*> rows_;  // null where one is missing
};

}  // namespace

REALpictureStruct* RenderSamplesQKZ(REALmemoryBlockStruct* samples, RBInteger sampleCount, RBInteger smooth,
                                    RBInteger width, RBInteger height, RBInteger outlineWidth,
                                    RBColor backColor, RBColor foreColor, RBColor outlineColor,
                                    RBInteger bits, RBBoolean autoScale) {
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32) return nullptr;
    const rbData block(samples);
    const std::uint64_t samplesHeld = block.size / (static_cast<std::uint64_t>(bits) / 8);
    if (sampleCount < 1 || static_cast<std::uint64_t>(sampleCount) > samplesHeld) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(width, height)) return nullptr;

    const auto envelopeFor = [&]<std::size_t bytes>(Samples<bytes> view) {
        return envelopeOf(view, writer, smooth, autoScale);
    };
    const Envelope envelope = bits == 8    ? envelopeFor(Samples<1>{block.data, sampleCount})
                              : bits == 16 ? envelopeFor(Samples<2>{block.data, sampleCount})
                              : bits == 24 ? envelopeFor(Samples<3>{block.data, sampleCount})
                                           : envelopeFor(Samples<4>{block.data, sampleCount});

    for (std::int64_t y = 0; y < writer.height(); ++y) {
        paintRow(writer, y, [back = pixelOf(backColor)](std::int64_t) { return back; });
    }
    visitTarget<Channels::color>(writer.format(), [&]<class Target>(Target) {
        Canvas<Target> canvas(writer);
        if (outlineWidth < 1) return canvas.drawEnvelope(joined(envelope), pixelOf(foreColor));
        canvas.drawEnvelope(envelope, pixelOf(foreColor));
        // A pen with the height as its radius covers everything already.
        const auto pen = static_cast<double>(std::min(outlineWidth, 2 * writer.height() + 1));
        canvas.drawThickLine(envelope.lowest, pen, pixelOf(outlineColor));
        // Drawing the same line twice would make its soft edges harder.
        if (envelope.highest != envelope.lowest) {
            canvas.drawThickLine(envelope.highest, pen, pixelOf(outlineColor));
        }
    });
    return writer.RenderPictureWriter();
}
