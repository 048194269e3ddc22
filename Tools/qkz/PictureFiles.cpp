#include "PictureFiles.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string_view>

#include "OpenedImage.h"

namespace qkz {

using namespace qkzhost;
using std::filesystem::path;
using vips::VImage;

struct Metadata {
    VImage exif;           // fields without a picture
    bool profile = false;  // there was one
};

namespace {

constexpr double millimetres = 25.4;  // of an inch; the library counts pixels a millimetre

/// For functions that the library calls: exceptions do not pass C.
template <class F>
int succeeds(F function) {
    try {
        return function() ? 0 : -1;
    } catch (const std::exception&) {
        return -1;
    }
}

/// Dots per millimetre that EXIF data tells, such as `72/1 (72, Rational, ...)`; 1 when it tells none.
double exifResolution(const VImage& image, const char* field) {
    const char* const unit = "exif-ifd0-ResolutionUnit";
    if (image.get_typeof(field) == 0) return 1;
    char* rest = nullptr;
    double dots = std::strtod(image.get_string(field), &rest);
    if (*rest == '/') dots /= std::strtod(rest + 1, nullptr);
    return image.get_typeof(unit) != 0 && *image.get_string(unit) == '3' ? dots / 10 : dots / millimetres;
}

PictureHeader headerOf(const VImage& image) {
    PictureHeader header{image.width(), image.height(), vips_image_hasalpha(image.get_image()) != 0};
    if (vips_image_get_orientation_swap(image.get_image())) std::swap(header.width, header.height);
    double resolution[] = {image.xres(), image.yres()};
    const char* const fields[] = {"exif-ifd0-XResolution", "exif-ifd0-YResolution"};
    for (std::size_t axis = 0; axis < 2; ++axis) {
        // Of WebP and HEIC the library tells what EXIF data says there only.
        if (resolution[axis] == 1) resolution[axis] = exifResolution(image, fields[axis]);
        const double dots = std::round(resolution[axis] * millimetres);
        // One a millimetre is what a file without resolution gets.
        if (resolution[axis] != 1 && dots >= 1 && dots <= 100'000) {
            header.resolution[axis] = static_cast<std::int64_t>(dots);
        }
    }
    return header;
}

/// EXIF data and the texts of a PNG, but for what is no longer true: the picture is turned and has other
/// colours, and its thumbnail shows the old one. XMP and IPTC data, which may tell of all that, are left out.
bool staysTrue(std::string_view field) {
    if (field.starts_with("png-comment-")) {
        const auto tells = [&](const char* what) { return field.find(what) != field.npos; };
        return !tells("-Thumb::") && !tells("-Raw profile") && !tells("-XML:");
    }
    return field.starts_with("exif-") && !field.starts_with("exif-ifd1-") &&
           !field.starts_with("exif-ifd4-") && field != "exif-ifd0-Orientation" &&
           field != "exif-ifd2-ColorSpace";
}

KeptMetadata metadataOf(const VImage& image) {
    auto metadata = std::make_shared<Metadata>();
    metadata->profile = image.get_typeof(VIPS_META_ICC_NAME) != 0;
    VipsImage* const fields = vips_image_new();
    metadata->exif = VImage(fields);
    const auto keep = [](VipsImage*, const char* name, GValue* value, void* to) -> void* {
        auto* const kept = static_cast<VipsImage*>(to);
        if (!staysTrue(name)) return nullptr;
        if (G_VALUE_TYPE(value) != VIPS_TYPE_BLOB) {
            vips_image_set(kept, name, value);
            return nullptr;
        }
        // Of HEIC the library gives bytes that end with the image.
        std::size_t size = 0;
        const void* const bytes = vips_value_get_blob(value, &size);
        vips_image_set_blob_copy(kept, name, bytes, size);
        return nullptr;
    };
    vips_image_map(image.get_image(), keep, fields);
    return metadata;
}

VImage inSrgb(const VImage& image) {
    return image.icc_transform("srgb", VImage::option()
                                           ->set("embedded", true)
                                           ->set("intent", VIPS_INTENT_RELATIVE)
                                           ->set("black_point_compensation", true));
}

/// Whether the picture's profile leaves colours of 8 bits as they are, but for one level: most profiles do.
bool hasSrgbProfile(const VImage& image) {
    constexpr int side = 9;
    std::vector<std::uint8_t> colors;
    for (int i = 0; i < side * side * side; ++i) {
        for (int place = i, channel = 0; channel < 3; ++channel, place /= side) {
            colors.push_back(static_cast<std::uint8_t>(place % side * 255 / (side - 1)));
        }
    }
    VImage all =
        VImage::new_from_memory(colors.data(), colors.size(), side * side, side, 3, VIPS_FORMAT_UCHAR)
            .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    std::size_t size = 0;
    const void* const profile = image.get_blob(VIPS_META_ICC_NAME, &size);
    all.set(VIPS_META_ICC_NAME, nullptr, const_cast<void*>(profile), size);
    return (inSrgb(all) - all).abs().max() <= 1;
}

/// Red, green and blue or gray, maybe with alpha, of 8 or 16 bits, in sRGB.
VImage ready(VImage image) {
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0) {
        try {
            const bool plain = image.format() == VIPS_FORMAT_UCHAR &&
                               (image.bands() == 3 || image.bands() == 4) &&
                               image.interpretation() != VIPS_INTERPRETATION_CMYK;
            if (!plain || !hasSrgbProfile(image)) image = inSrgb(image);
        } catch (const vips::VError&) {  // a profile of something else: the picture is as if it had none
            vips_error_clear();
        }
    }
    switch (image.interpretation()) {
        case VIPS_INTERPRETATION_sRGB:
        case VIPS_INTERPRETATION_RGB:
        case VIPS_INTERPRETATION_B_W:
        case VIPS_INTERPRETATION_RGB16:
        case VIPS_INTERPRETATION_GREY16:
        case VIPS_INTERPRETATION_MULTIBAND:
            if (image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT) return image;
            break;
        default:
            break;
    }
    return image.colourspace(VIPS_INTERPRETATION_sRGB).cast(VIPS_FORMAT_UCHAR);
}

std::uint32_t byteOf(std::uint8_t sample) { return sample; }
std::uint32_t byteOf(std::uint16_t sample) { return (sample * 255u + 32895u) >> 16; }  // rounded

template <class Sample, int Bands>
void argbRow(const void* pixels, int bands, std::span<std::uint32_t> words) {
    constexpr std::size_t green = Bands < 3 ? 0 : 1, blue = Bands < 3 ? 0 : 2;
    const auto* from = static_cast<const Sample*>(pixels);
    for (std::uint32_t& word : words) {
        const std::uint32_t alpha = Bands % 2 == 0 ? byteOf(from[Bands - 1]) : 255;
        word = alpha << 24 | byteOf(from[0]) << 16 | byteOf(from[green]) << 8 | byteOf(from[blue]);
        from += bands;
    }
}

auto rowConversion(const VImage& image) {
    constexpr decltype(&argbRow<std::uint8_t, 1>) conversions[][4] = {
        {argbRow<std::uint8_t, 1>, argbRow<std::uint8_t, 2>, argbRow<std::uint8_t, 3>,
         argbRow<std::uint8_t, 4>},
        {argbRow<std::uint16_t, 1>, argbRow<std::uint16_t, 2>, argbRow<std::uint16_t, 3>,
         argbRow<std::uint16_t, 4>}};
    return conversions[image.format() == VIPS_FORMAT_USHORT][std::min(image.bands(), 4) - 1];
}

/// Puts rows of an image into a picture of the host's.
struct Arriving {
    Host& host;
    const PictureHeader header;
    const VImage image;
    decltype(rowConversion(image)) convert = rowConversion(image);
    std::vector<std::uint32_t> words = std::vector<std::uint32_t>(static_cast<std::size_t>(header.width));
    OwnedPicture picture{};  // made when the first rows come, which those of a file cut short may never do
    bool refused = false;

    bool makePicture(int height) {
        picture = host.newPicture(header.width, height, header.alpha);
        refused = !picture;
        return !refused;
    }
    /// Row `from.top` becomes the picture's row `top`.
    void put(VipsRegion* region, const VipsRect& from, int top) {
        Surface& surface = host.objects.surface(picture);
        for (int y = 0; y < from.height; ++y) {
            convert(VIPS_REGION_ADDR(region, 0, from.top + y), image.bands(), words);
            surface.fromArgb(words);
            surface.write(0, top + y, surface.width, words.data());
        }
    }
    bool take(VipsRegion* region, const VipsRect& area) {
        if (!picture && !makePicture(header.height)) return false;
        put(region, area, area.top);
        return true;
    }
};

struct Saver {
    std::string_view ending;
    const char* name;
    bool compression, quality;
};
constexpr Saver savers[] = {
    {".png", "pngsave_target", true, false},   {".jpg", "jpegsave_target", false, true},
    {".jpeg", "jpegsave_target", false, true}, {".webp", "webpsave_target", false, true},
    {".tif", "tiffsave_target", true, false},  {".tiff", "tiffsave_target", true, false}};

const Saver& saverFor(const path& file) {
    if (file == "-") return savers[0];
    for (const Saver& saver : savers)
        if (sameText(file.extension().string(), saver.ending)) return saver;
    fail(file, "pictures are written as .png, .jpg, .webp, .tif or .ppic");
}

std::uint8_t* putColor(std::uint8_t* to, std::uint32_t word) {
    to[0] = static_cast<std::uint8_t>(word >> 16);
    to[1] = static_cast<std::uint8_t>(word >> 8);
    to[2] = static_cast<std::uint8_t>(word);
    return to + 3;
}

/// Fills the region with bytes of red, green, blue and, where the surface has one, alpha. The surface's row
/// `top` becomes the first.
void leave(Surface& surface, int top, VipsRegion* region) {
    const VipsRect& area = region->valid;
    std::vector<std::uint32_t> words(static_cast<std::size_t>(area.width));
    for (int y = 0; y < area.height; ++y) {
        surface.read(area.left, top + y, area.width, words.data());
        auto* to = VIPS_REGION_ADDR(region, area.left, area.top + y);
        if (!surface.alpha) {
            for (const std::uint32_t word : words) to = putColor(to, word);
            continue;
        }
        surface.toArgb(words);
        for (const std::uint32_t word : words) {
            to = putColor(to, word);
            *to++ = static_cast<std::uint8_t>(word >> 24);
        }
    }
}

/// An image of the header's size to be written, without pixels; they will come in strips. Throws
/// vips::VError.
VImage outgoing(const PictureHeader& header, const KeptMetadata& metadata) {
    VipsImage* const made = vips_image_new();
    VImage image(made);
    vips_image_init_fields(made, header.width, header.height, header.alpha ? 4 : 3, VIPS_FORMAT_UCHAR,
                           VIPS_CODING_NONE, VIPS_INTERPRETATION_sRGB,
                           static_cast<double>(header.resolution[0]) / millimetres,
                           static_cast<double>(header.resolution[1]) / millimetres);
    if (vips_image_pipelinev(made, VIPS_DEMAND_STYLE_FATSTRIP, nullptr) != 0) throw vips::VError();
    // One worker for the host, which is no place for more, and so that no error is lost: see `incoming`.
    vips_image_set_int(made, VIPS_META_CONCURRENCY, 1);
    if (metadata) {
        // To keep the bytes of EXIF data is to keep all that is in them: some of it is to be left out again.
        const auto copy = [](VipsImage*, const char* name, GValue* value, void* to) -> void* {
            if (staysTrue(name)) vips_image_set(static_cast<VipsImage*>(to), name, value);
            return nullptr;
        };
        vips_image_map(metadata->exif.get_image(), copy, made);
        vips_image_set_int(made, VIPS_META_ORIENTATION, 1);
        vips_image_set_string(made, "exif-ifd2-ColorSpace", "1 (sRGB, Short, 1 components, 2 bytes)");
        // The old thumbnail is in the bytes of the EXIF data; an empty one takes its place.
        vips_image_set_blob(made, "jpeg-thumbnail-data", nullptr, "", 0);
    }
    return image;
}

using Bytes = std::unique_ptr<VipsArea, decltype(&vips_area_unref)>;

/// The bytes of the file. Throws vips::VError.
Bytes encoded(const VImage& image, const path& file, const KeptMetadata& metadata, const Encoding& encoding) {
    const Saver& saver = saverFor(file);
    const auto target = vips::VTarget::new_to_memory();
    auto* const options = VImage::option()->set("in", image)->set("target", target);
    const std::string_view name = saver.name;
    if (name.starts_with("png")) options->set("compression", encoding.compression.value_or(6));
    if (saver.quality) options->set("Q", encoding.quality.value_or(90));
    if (name.starts_with("jpeg")) options->set("background", std::vector<double>{255, 255, 255});
    if (name.starts_with("tiff") && encoding.compression != 0) {
        options->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE);
    }
    if (metadata && metadata->profile) options->set("profile", "srgb");
    VImage::call(saver.name, options);
    VipsBlob* bytes = nullptr;
    g_object_get(target.get_target(), "blob", &bytes, nullptr);
    return {VIPS_AREA(bytes), &vips_area_unref};
}

void writeFile(const path& file, const Bytes& bytes) {
    std::size_t size = 0;
    const void* const data = vips_area_get_data(bytes.get(), &size, nullptr, nullptr, nullptr);
    qkz::writeFile(file, data, size);
}

/// A picture file that is opened: an image for `Arriving`, of which no pixel has been read.
struct Incoming {
    PictureHeader header;
    KeptMetadata metadata;
    VImage image;
};

/// Throws vips::VError, too.
Incoming incoming(const path& file, const Limits& limits) {
    VImage image = opened(file, limits);
    Incoming result{headerOf(image), metadataOf(image), {}};
    image = ready(image);
    if (vips_image_get_orientation(image.get_image()) > 1) image = image.copy_memory().autorot();
    // With several workers the library at times loses the error of one, and half a file passes as whole.
    result.image = image.copy();
    result.image.set(VIPS_META_CONCURRENCY, 1);
    return result;
}

/// A picture on its way from file to file: strip by strip it comes into the host, is changed, and leaves.
struct Passing {
    const path& file;
    Arriving arriving;
    const PictureChange& change;
    std::exception_ptr failed{};

    bool pass(VipsRegion* from, VipsRegion* to) {
        try {
            VipsRect rows{0, to->valid.top, arriving.header.width, to->valid.height};
            onFile(file, "is damaged", [&] {
                if (vips_region_prepare(from, &rows) != 0) throw vips::VError();
            });
            if (!arriving.makePicture(rows.height)) fail(file, "no picture of this size can be made");
            arriving.put(from, rows, 0);
            leave(arriving.host.objects.surface(change(std::move(arriving.picture))), 0, to);
            return true;
        } catch (...) {
            failed = std::current_exception();
            return false;
        }
    }
};

}  // namespace

PictureHeader readHeader(const path& file, const Limits& limits) { return headerOf(opened(file, limits)); }

PictureFile readPicture(Host& host, const path& file, const Limits& limits) {
    PictureFile result;
    onFile(file, "is damaged", [&] {
        Incoming in = incoming(file, limits);
        Arriving arriving{host, in.header, in.image};
        const auto take = [](VipsRegion* region, VipsRect* area, void* to) {
            return succeeds([&] { return static_cast<Arriving*>(to)->take(region, *area); });
        };
        if (vips_sink_disc(in.image.get_image(), take, &arriving) != 0) {
            if (arriving.refused) fail(file, "no picture of this size can be made");
            throw vips::VError();
        }
        result.picture = std::move(arriving.picture);
        result.metadata = std::move(in.metadata);
        host.objects.picture(result.picture).resolution = in.header.resolution;
    });
    checkUndamaged(file);
    return result;
}

void checkPictureName(const path& file, const Encoding& encoding) {
    const Saver& saver = saverFor(file);
    if (encoding.compression && !saver.compression) fail(file, "--compression is for PNG and TIFF");
    if (encoding.quality && !saver.quality) fail(file, "--quality is for JPEG and WebP");
}

void writePicture(Host& host, REALpictureStruct* picture, const path& file, const KeptMetadata& metadata,
                  const Encoding& encoding) {
    startLibrary();
    Surface& surface = host.objects.surface(picture);
    const PictureHeader header{surface.width, surface.height, surface.alpha,
                               host.objects.picture(picture).resolution};
    const auto give = [](VipsRegion* region, void*, void* from, void*, gboolean*) {
        return succeeds([&] {
            leave(*static_cast<Surface*>(from), region->valid.top, region);
            return true;
        });
    };
    const Bytes bytes = onFile(file, "cannot be written", [&] {
        const VImage image = outgoing(header, metadata);
        if (vips_image_generate(image.get_image(), nullptr, give, nullptr, &surface, nullptr) != 0) {
            throw vips::VError();
        }
        return encoded(image, file, metadata, encoding);
    });
    writeFile(file, bytes);
}

void changePicture(Host& host, const path& file, const PictureChange& change, const path& output,
                   const Encoding& encoding, const Limits& limits) {
    const auto give = [](VipsRegion* region, void* from, void*, void* passing, gboolean*) {
        return static_cast<Passing*>(passing)->pass(static_cast<VipsRegion*>(from), region) ? 0 : -1;
    };
    const Bytes bytes = [&] {
        const Incoming in = onFile(file, "is damaged", [&] { return incoming(file, limits); });
        // What becomes of a picture shows on a small one.
        OwnedPicture small = host.newPicture(1, 1, in.header.alpha);
        host.objects.picture(small).resolution = in.header.resolution;
        small = change(std::move(small));
        const PictureHeader header{in.header.width, in.header.height, host.objects.surface(small).alpha,
                                   host.objects.picture(small).resolution};
        Passing passing{file, {host, in.header, in.image}, change};
        return onFile(output, "cannot be written", [&] {
            const VImage image = outgoing(header, in.metadata);
            if (vips_image_generate(image.get_image(), vips_start_one, give, vips_stop_one,
                                    in.image.get_image(), &passing) != 0) {
                throw vips::VError();
            }
            try {
                Bytes made = encoded(image, output, in.metadata, encoding);
                if (!passing.failed) return made;
            } catch (const vips::VError&) {
                if (!passing.failed) throw;
            }
            std::rethrow_exception(passing.failed);
        });
    }();
    checkUndamaged(file);
    writeFile(output, bytes);
}

}  // namespace qkz
