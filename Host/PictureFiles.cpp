#include "PictureFiles.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

#include <jpeglib.h>  // wants the size_t and FILE of the headers above

#include <jerror.h>

namespace qkzhost {
namespace {

using std::filesystem::path;
using Bytes = std::span<const std::uint8_t>;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void fail(const path& file, const std::string& reason) {
    throw std::runtime_error(file.string() + ": " + reason);
}

std::string systemError() { return std::generic_category().message(errno); }

/// A file that is read from its beginning, no further than is asked for.
class Input {
 public:
    explicit Input(const path& file) : file_(file), in_(std::fopen(file.c_str(), "rbe"), &std::fclose) {
        if (!in_) fail(file, systemError());
    }
    /// The first bytes; fewer than `count` where the file ends.
    Bytes first(std::size_t count) {
        struct stat status {};
        if (fstat(fileno(in_.get()), &status) == 0 && status.st_size > 0)
            bytes_.reserve(std::min(count, static_cast<std::size_t>(status.st_size) + 1));
        while (bytes_.size() < count) {
            const std::size_t have = bytes_.size(), step = std::min<std::size_t>(count - have, 1 << 18);
            bytes_.resize(have + step);
            const std::size_t got = std::fread(&bytes_[have], 1, step, in_.get());
            bytes_.resize(have + got);
            if (std::ferror(in_.get())) fail(file_, systemError());
            if (got < step) break;
        }
        return bytes_;
    }
    std::vector<std::uint8_t> all(std::uint64_t most) {
        if (first(most + 1).size() > most) fail(file_, "is longer than " + std::to_string(most) + " bytes");
        return std::move(bytes_);
    }

 private:
    const path file_;
    const Stream in_;
    std::vector<std::uint8_t> bytes_;
};

/// Null, with errno set, where the file cannot be opened.
Stream openToWrite(const path& file, int flags, mode_t mode = 0) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC | flags, mode);
    return {descriptor < 0 ? nullptr : fdopen(descriptor, "wb"), &std::fclose};
}

/// Returns when all of it has arrived; on the disk, where there is one (a pipe, say, cannot be synchronised).
void writeAndClose(Stream out, const path& file, const void* bytes, std::size_t count) {
    const bool written = std::fwrite(bytes, 1, count, out.get()) == count && std::fflush(out.get()) == 0 &&
                         (fsync(fileno(out.get())) == 0 || errno == EINVAL || errno == EROFS);
    if (!written || std::fclose(out.release()) != 0) fail(file, systemError());
}

/// Throws when an announced size is beyond the limits, or beyond data that is `bytes` long: at least
/// `leastBytes` are needed for so many pixels.
void checkSize(const path& file, std::uint64_t width, std::uint64_t height, std::uint64_t leastBytes,
               std::uint64_t bytes, const Limits& limits) {
    if (width > Limits::side || height > Limits::side)
        fail(file, "a side is longer than " + std::to_string(Limits::side) + " pixels");
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width * height > limits.pixels)
        throw TooManyPixels(file.string() + ": " + size + " are more than " + std::to_string(limits.pixels));
    if (bytes < leastBytes) fail(file, "too short for " + size);
}

// libpng's byte order BGRA is that of an ARGB word.
Image readPng(const path& file, Bytes bytes, const Limits& limits) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    const std::unique_ptr<png_image, decltype(&png_image_free)> freed(&png, &png_image_free);
    if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) fail(file, png.message);
    // The depth and the colour type, which libpng does not tell here, are in the chunk that comes first.
    constexpr std::array channels{1, 0, 3, 1, 2, 0, 4};
    if (std::memcmp(&bytes[12], "IHDR", 4) != 0) fail(file, "the header does not come first");
    const std::uint64_t bits = bytes[24] * static_cast<std::uint64_t>(channels.at(bytes[25]));
    // Nothing is deflated to less than a 1032nd.
    const std::uint64_t leastBytes = std::uint64_t{png.width} * png.height * bits / 8 / 1032;
    checkSize(file, png.width, png.height, leastBytes, bytes.size(), limits);
    Image image{static_cast<int>(png.width), static_cast<int>(png.height),
                (png.format & PNG_FORMAT_FLAG_ALPHA) != 0,
                std::vector<std::uint32_t>(std::size_t{png.width} * png.height)};
    png.format = PNG_FORMAT_BGRA;
    png.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    if (!png_image_finish_read(&png, nullptr, image.argb.data(), 0, nullptr)) fail(file, png.message);
    return image;
}

/// Bytes in the order C, M, Y, K; inverted is how they are in the files that Adobe's marker tells.
std::uint32_t argbOfCmyk(std::uint32_t cmyk, bool inverted) {
    if (!inverted) cmyk = ~cmyk;
    const auto channel = [=](int shift) { return (cmyk >> shift & 0xFF) * (cmyk >> 24) / 255; };
    return 0xFF000000 | channel(0) << 16 | channel(8) << 8 | channel(16);
}

/// libjpeg leaves a step by a jump where it finds an error.
struct JpegErrors : jpeg_error_mgr {
    JpegErrors() {
        jpeg_std_error(this);
        error_exit = [](j_common_ptr jpeg) {
            auto& errors = *static_cast<JpegErrors*>(jpeg->err);
            errors.format_message(jpeg, errors.text);
            std::longjmp(errors.stop, 1);
        };
        // The warnings of missing and wrong pixels are errors here. There are others that many a camera gives
        // cause for, such as stray bytes between segments.
        emit_message = [](j_common_ptr jpeg, int) {
            for (const int damage :
                 {JWRN_ARITH_BAD_CODE, JWRN_HIT_MARKER, JWRN_HUFF_BAD_CODE, JWRN_JPEG_EOF, JWRN_MUST_RESYNC})
                if (jpeg->err->msg_code == damage) jpeg->err->error_exit(jpeg);
        };
    }
    std::jmp_buf stop;
    char text[JMSG_LENGTH_MAX];
};

Image readJpeg(const path& file, Bytes bytes, const Limits& limits) {
    JpegErrors errors;
    jpeg_decompress_struct jpeg{};
    jpeg.err = &errors;
    const std::unique_ptr<jpeg_decompress_struct, decltype(&jpeg_destroy_decompress)> freed(
        &jpeg, &jpeg_destroy_decompress);
    const auto attempt = [&](auto step) {  // nothing in a step may want destroying
        if (setjmp(errors.stop) != 0) fail(file, errors.text);
        step();
    };
    std::uint64_t blocks = 0;
    attempt([&] {
        jpeg_create_decompress(&jpeg);
        jpeg_mem_src(&jpeg, bytes.data(), bytes.size());
        jpeg_read_header(&jpeg, TRUE);
        for (int i = 0; i < jpeg.num_components; ++i)
            blocks += std::uint64_t{jpeg.comp_info[i].width_in_blocks} * jpeg.comp_info[i].height_in_blocks;
    });
    // A Huffman code has at least a bit, and each block has one. Arithmetic codes may be shorter, but only
    // where there is next to nothing to see.
    checkSize(file, jpeg.image_width, jpeg.image_height, blocks / 8, bytes.size(), limits);
    Image image{static_cast<int>(jpeg.image_width), static_cast<int>(jpeg.image_height), false,
                std::vector<std::uint32_t>(std::size_t{jpeg.image_width} * jpeg.image_height)};
    const bool cmyk = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    jpeg.out_color_space = cmyk ? JCS_CMYK : JCS_EXT_BGRA;
    attempt([&] {
        jpeg_start_decompress(&jpeg);
        while (jpeg.output_scanline < jpeg.output_height) {
            auto* row = reinterpret_cast<JSAMPLE*>(image.argb.data()) +
                        std::size_t{jpeg.output_scanline} * jpeg.output_width * 4;
            jpeg_read_scanlines(&jpeg, &row, 1);
        }
        jpeg_finish_decompress(&jpeg);
    });
    if (cmyk)
        for (std::uint32_t& word : image.argb) word = argbOfCmyk(word, jpeg.saw_Adobe_marker);
    return image;
}

/// What reads the kind of file that begins so.
auto readerOf(const path& file, Bytes bytes) {
    const auto startsWith = [&](std::string_view magic) {
        return bytes.size() >= magic.size() && std::memcmp(bytes.data(), magic.data(), magic.size()) == 0;
    };
    if (startsWith("\x89PNG")) return &readPng;
    if (startsWith("\xFF\xD8\xFF")) return &readJpeg;
    fail(file, "neither a PNG nor a JPEG file");
}

}  // namespace

std::vector<std::uint8_t> readFile(const path& file, std::uint64_t most) { return Input(file).all(most); }

void writeFile(const path& file, const void* bytes, std::size_t count) {
    Stream existing = openToWrite(file, 0);
    if (!existing && (errno != ENOENT || !file.has_filename())) fail(file, systemError());
    struct stat old {};
    if (existing && fstat(fileno(existing.get()), &old) != 0) fail(file, systemError());
    if (existing && !S_ISREG(old.st_mode)) return writeAndClose(std::move(existing), file, bytes, count);

    path target = file;  // where the links lead, be there a file or not
    while (std::filesystem::is_symlink(target))
        target = target.parent_path() / std::filesystem::read_symlink(target);
    path temporary;
    Stream out(nullptr, &std::fclose);
    for (int number = 0; !out && (number == 0 || errno == EEXIST); ++number) {
        temporary =
            target.parent_path() / (".qkz-" + std::to_string(getpid()) + '-' + std::to_string(number));
        out = openToWrite(temporary, O_CREAT | O_EXCL, existing ? old.st_mode & 0777 : 0666);
    }
    if (!out) fail(file, systemError());
    try {
        if (existing) {
            // Only root may give a file away; otherwise it becomes the user's own.
            [[maybe_unused]] const int given = fchown(fileno(out.get()), old.st_uid, old.st_gid);
            if (fchmod(fileno(out.get()), old.st_mode & 07777) != 0) fail(file, systemError());
        }
        writeAndClose(std::move(out), file, bytes, count);
        if (std::rename(temporary.c_str(), target.c_str()) != 0) fail(file, systemError());
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

Image readImage(const path& file, const Limits& limits) {
    Input in(file);
    const auto reader = readerOf(file, in.first(4));  // before the rest is read
    return reader(file, in.all(limits.bytes()), limits);
}

Image readImage(const path& name, Bytes bytes, const Limits& limits) {
    return readerOf(name, bytes)(name, bytes, limits);
}

std::vector<std::uint8_t> readPacked(const path& file, const Limits& limits) {
    Input in(file);
    const Bytes header = in.first(16);
    if (header.size() < 16 || std::memcmp(header.data(), "PPIC", 4) != 0) fail(file, "not a packed picture");
    const auto number = [&](std::size_t at) { return std::uint64_t{png_get_uint_32(&header[at])}; };
    const std::uint64_t length = number(4), width = number(8), height = number(12);
    checkSize(file, width, height, width * height * 3, length, limits);
    return in.all(std::min(length, limits.bytes()));
}

void writePng(const Image& image, const path& file) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = PNG_FORMAT_BGRA;
    const void* pixels = image.argb.data();
    std::vector<std::uint8_t> bgr;
    if (!image.alpha) {
        png.format = PNG_FORMAT_BGR;
        bgr.resize(image.argb.size() * 3);
        for (std::size_t i = 0; i < image.argb.size(); ++i) std::memcpy(&bgr[i * 3], &image.argb[i], 3);
        pixels = bgr.data();
    }
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(png);  // the most that libpng may need
    const auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    if (!png_image_write_to_memory(&png, bytes.get(), &size, 0, pixels, 0, nullptr)) fail(file, png.message);
    writeFile(file, bytes.get(), size);
}

}  // namespace qkzhost
