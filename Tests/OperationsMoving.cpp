// Operations that move pixels in place, and the way into a string of bytes and back.
#include <algorithm>

#include "Operations.h"
#include "PictureString.h"

namespace qkztest {
namespace {

bool boolean(const Cells& cells, std::size_t i) { return std::get<bool>(cells[i]); }

constexpr std::uint32_t white = 0xFFFFFFFF;

/// A pixmap's rows are a copy, and what cannot be read cannot be written.
bool isEditable(const Image& image) { return image.format != Format::rgb && !image.words.empty(); }

/// 0..size-1.
int wrapped(std::int64_t index, int size) {
    const int remainder = static_cast<int>(index % size);
    return remainder < 0 ? remainder + size : remainder;
}

bool isFarther(std::int64_t delta, int size) { return delta >= size || delta <= -std::int64_t{size}; }

void rotateOrClearRows(Image& image, std::int64_t delta, bool wrap) {
    const Image old = image;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            std::uint32_t& word = image.word(x, y);
            if (wrap) {
                word = old.word(x, wrapped(y - delta % image.height, image.height));
            } else if (isFarther(delta, image.height) || y - delta < 0 || y - delta >= image.height) {
                word = white;
            } else {
                word = old.word(x, static_cast<int>(y - delta));
            }
        }
    }
}

/// Without wrapping, a move to the right goes twice as far as what it clears; between the two the pixels
/// stay.
void rotateOrClearColumns(Image& image, std::int64_t delta, bool wrap) {
    const Image old = image;
    const int width = image.width;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint32_t& word = image.word(x, y);
            if (wrap) {
                word = old.word(wrapped(x - delta % width, width), y);
            } else if (isFarther(delta, width) || x < delta || x - delta >= width) {
                word = white;
            } else if (delta < 0) {
                word = old.word(static_cast<int>(x - delta), y);
            } else if (x >= 2 * delta) {
                word = old.word(static_cast<int>(x - 2 * delta), y);
            }
        }
    }
}

/// A picture that cannot be edited is a failure when rows are to move, but none when columns are.
bool scrollVertical(Image& image, std::int64_t delta, bool wrap, Image* mask) {
    if (mask && !scrollVertical(*mask, delta, wrap, nullptr)) return false;
    if (delta == 0) return true;
    if (!isEditable(image)) return false;
    rotateOrClearRows(image, delta, wrap);
    return true;
}

bool scrollHorizontal(Image& image, std::int64_t delta, bool wrap, Image* mask) {
    if (mask) scrollHorizontal(*mask, delta, wrap, nullptr);
    if (delta != 0 && isEditable(image)) rotateOrClearColumns(image, delta, wrap);
    return true;
}

/// The deltas, wrap, scrollmask, and last the mask.
template <int deltas>
Cells scrollArguments(Random& random, const Image& picture) {
    Cells cells;
    const std::int64_t sizes[] = {deltas == 1 ? std::max(picture.width, picture.height) : picture.width,
                                  picture.height};
    for (int i = 0; i < deltas; ++i) {
        cells.emplace_back(random.oneIn(4) ? random.coordinate(picture.width)
                                           : random.below(static_cast<int>(2 * sizes[i] + 5)) - sizes[i] - 2);
    }
    cells.emplace_back(random.oneIn(2));
    cells.emplace_back(random.oneIn(2));
    Cell mask;
    if (random.oneIn(2)) {
        const bool alpha = picture.format == Format::gd && random.oneIn(2);
        Format format = picture.format == Format::argb ? Format::xrgb : picture.format;
        if (format == Format::rgb && random.oneIn(2)) format = Format::xrgb;  // it can be edited
        const bool sameSize = random.oneIn(2);
        mask = randomImage(random, format, alpha, sameSize ? picture.width : 1 + random.below(9),
                           sameSize ? picture.height : 1 + random.below(9));
        if (random.oneIn(8)) mask = Image{};
    }
    cells.push_back(mask);
    return cells;
}

/// Puts the mask on for the call.
template <const char* const& method>
Value scrolled(Host& host, const std::vector<Value>& given) {
    const OwnedPicture picture = given[0].picture();
    host.objects.picture(picture).mask = given.back().picture();
    Value result = host.call(method, std::vector<Value>(given.begin(), given.end() - 1));
    EXPECT_EQ(host.objects.picture(picture).mask, given.back().picture());
    host.objects.picture(picture).mask = nullptr;
    return result;
}

const char *const vertical = "ScrollVerticalQKZ", *const horizontal = "ScrollHorizontalQKZ",
                  *const both = "ScrollQKZ";

/// The mask that is to be scrolled as well, or none.
Image* scrolledMask(Cells& cells) {
    return boolean(cells, cells.size() - 2) ? std::get_if<Image>(&cells.back()) : nullptr;
}

Cell verticalAnswer(Image& picture, Cells& cells) {
    return scrollVertical(picture, integer(cells, 0), boolean(cells, 1), scrolledMask(cells));
}

Cell horizontalAnswer(Image& picture, Cells& cells) {
    return scrollHorizontal(picture, integer(cells, 0), boolean(cells, 1), scrolledMask(cells));
}

Cell bothAnswer(Image& picture, Cells& cells) {
    return scrollHorizontal(picture, integer(cells, 0), boolean(cells, 2), scrolledMask(cells)) &&
           scrollVertical(picture, integer(cells, 1), boolean(cells, 2), scrolledMask(cells));
}

Cell packed(Image& picture, Cells&) { return packedPicture(picture); }

Value thereAndBack(Host& host, const std::vector<Value>& given) {
    const OwnedString string(host.call("PicturetoBinaryStringQKZ", given).string());
    return host.call("BinaryStringtoPictureQKZ", {string});
}

/// Colours stay, alpha is lost.
Cell same(Image& picture, Cells&) {
    return mapped(picture, opaque(picture), [](const Rgba& p) { return p; });
}

}  // namespace

std::vector<Operation> movingOperations() {
    return {
        {"ScrollVertical", vertical, scrollArguments<1>, verticalAnswer, scrolled<vertical>},
        {"ScrollHorizontal", horizontal, scrollArguments<1>, horizontalAnswer, scrolled<horizontal>},
        {"Scroll", both, scrollArguments<2>, bothAnswer, scrolled<both>},
        {"Pack", "PicturetoBinaryStringQKZ", noArguments, packed},
        {"PackUnpack", "BinaryStringtoPictureQKZ", noArguments, same, thereAndBack},
    };
}

}  // namespace qkztest
