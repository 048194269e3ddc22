// Picture files as the library makes and reads them that the command uses.
#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <vector>
#include <vips/vips8>

namespace qkztest {

/// Straight ARGB words, row by row.
struct Argb {
    int width = 0, height = 0;
    bool alpha = false;
    std::vector<std::uint32_t> words;
};

inline vips::VImage libraryImage(const Argb& picture) {
    std::vector<std::uint8_t> bytes;
    for (const std::uint32_t word : picture.words) {
        for (const int shift : {16, 8, 0, 24})
            if (shift != 24 || picture.alpha) bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
    return vips::VImage(vips_image_new_from_memory_copy(bytes.data(), bytes.size(), picture.width,
                                                        picture.height, picture.alpha ? 4 : 3,
                                                        VIPS_FORMAT_UCHAR))
        .copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

inline void writeArgb(const Argb& picture, const std::filesystem::path& file) {
    libraryImage(picture).write_to_file(file.c_str());
}

/// Of a file with three or four channels of 8 bits.
inline Argb readArgb(const std::filesystem::path& file) {
    vips_cache_set_max(0);  // it would know the file from before
    const vips::VImage image = vips::VImage::new_from_file(file.c_str());
    Argb picture{image.width(), image.height(), image.bands() == 4, {}};
    std::size_t size = 0;
    void* const all = image.write_to_memory(&size);
    const auto* bytes = static_cast<const std::uint8_t*>(all);
    for (std::size_t i = 0; i + 2 < size; i += static_cast<std::size_t>(image.bands())) {
        const std::uint32_t alpha = picture.alpha ? bytes[i + 3] : 255u;
        const std::uint32_t red = bytes[i], green = bytes[i + 1], blue = bytes[i + 2];
        picture.words.push_back(alpha << 24 | red << 16 | green << 8 | blue);
    }
    g_free(all);
    return picture;
}

}  // namespace qkztest
