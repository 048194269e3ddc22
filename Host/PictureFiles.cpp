#include "PictureFiles.h"

#include <gd.h>
#include <png.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace qkzhost {
namespace {

using std::filesystem::path;

[[noreturn]] void fail(const path& file, const std::string& reason) {
    throw std::runtime_error(file.string() + ": " + reason);
}

std::string systemError() { return std::generic_category().message(errno); }

// libpng's byte order BGRA is that of an ARGB word.
Image readPng(const path& file, const std::vector<std::uint8_t>& bytes) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    const std::unique_ptr<png_image, decltype(&png_image_free)> freed(&png, &png_image_free);
    if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) fail(file, png.message);
    Image image;
    image.alpha = (png.format & PNG_FORMAT_FLAG_ALPHA) != 0;
    png.format = PNG_FORMAT_BGRA;
    png.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    if (png.width > 32767 || png.height > 32767) fail(file, "larger than 32767 pixels");
    image.width = static_cast<int>(png.width);
    image.height = static_cast<int>(png.height);
    image.argb.resize(std::size_t{png.width} * png.height);
    if (!png_image_finish_read(&png, nullptr, image.argb.data(), 0, nullptr)) fail(file, png.message);
    return image;
}

Image readJpeg(const path& file, std::vector<std::uint8_t>& bytes) {
    if (bytes.size() > INT_MAX) fail(file, "larger than 2 GB");
    const std::unique_ptr<gdImage, decltype(&gdImageDestroy)> jpeg(
        gdImageCreateFromJpegPtr(static_cast<int>(bytes.size()), bytes.data()), &gdImageDestroy);
    if (!jpeg) fail(file, "the JPEG data is damaged");
    Image image{gdImageSX(jpeg.get()), gdImageSY(jpeg.get()), false, {}};
    for (int y = 0; y < image.height; y++)
        for (int x = 0; x < image.width; x++)
            image.argb.push_back(0xFF000000u | static_cast<std::uint32_t>(jpeg->tpixels[y][x]));
    return image;
}

}  // namespace

std::vector<std::uint8_t> readFile(const path& file) {
    if (std::filesystem::is_directory(file)) fail(file, "is a folder");
    std::ifstream in(file, std::ios::binary);
    if (!in) fail(file, systemError());
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const path& file, const void* bytes, std::size_t count) {
    std::ofstream out(file, std::ios::binary);
    out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    out.close();
    if (!out) fail(file, systemError());
}

Image readImage(const path& file) {
    std::vector<std::uint8_t> bytes = readFile(file);
    const auto startsWith = [&](const char* magic, std::size_t size) {
        return bytes.size() >= size && std::memcmp(bytes.data(), magic, size) == 0;
    };
    if (startsWith("\x89PNG", 4)) return readPng(file, bytes);
    if (startsWith("\xFF\xD8\xFF", 3)) return readJpeg(file, bytes);
    fail(file, "neither a PNG nor a JPEG file");
}

void writePng(const Image& image, const path& file) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = image.alpha ? PNG_FORMAT_BGRA : PNG_FORMAT_BGR;
    std::vector<std::uint8_t> bytes;
    for (const std::uint32_t argb : image.argb)
        for (int shift = 0; shift < (image.alpha ? 32 : 24); shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(argb >> shift));
    if (!png_image_write_to_file(&png, file.c_str(), 0, bytes.data(), 0, nullptr)) fail(file, png.message);
}

}  // namespace qkzhost
