// Files: pictures on their way into the host and out of it, and plain bytes. The name `-` stands for standard
// input or output.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include "Host.h"

namespace qkz {

/// What a picture file may ask for.
struct Limits {
    static constexpr std::uint64_t side = 32767, mostPixels = side * side;  // of any picture
    std::uint64_t pixels = 200'000'000;
    /// Of a file: what 16 bits of red, green, blue and alpha take, and as much again as metadata may.
    std::uint64_t bytes() const { return pixels * 8 + (64 << 20); }
    /// Throws std::runtime_error or TooManyPixels for a size beyond these.
    void check(const std::filesystem::path&, std::uint64_t width, std::uint64_t height) const;
};

/// A picture of more pixels than the limits allow.
struct TooManyPixels : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Each of the functions throws std::runtime_error with the file's name and the reason.

/// What is said of a picture before its pixels, turned as it is to be seen.
struct PictureHeader {
    int width = 0, height = 0;
    bool alpha = false;
    std::array<std::int64_t, 2> resolution = {72, 72};  // horizontal, vertical; dots per inch
};
/// Reads no pixel.
PictureHeader readHeader(const std::filesystem::path&, const Limits& = {});

/// What else a picture file says and stays true of what becomes of the picture; `writePicture` knows what it
/// is.
struct Metadata;
using KeptMetadata = std::shared_ptr<const Metadata>;

struct PictureFile {
    qkzhost::OwnedPicture picture;  // sRGB, turned as it is to be seen, with its resolution
    KeptMetadata metadata;
};
/// The kind is told by the first bytes, not by the name; those and the size are judged before anything else
/// is read.
PictureFile readPicture(qkzhost::Host&, const std::filesystem::path&, const Limits& = {});

/// How well and how small pictures are written.
struct Encoding {
    std::optional<int> compression = {};  // of PNG, 0..9, else 6; of TIFF, 0 for none
    std::optional<int> quality = {};      // of JPEG and WebP, 1..100, else 90
};
/// Throws when the ending names no kind of picture that is written, or one that knows no such encoding.
void checkPictureName(const std::filesystem::path&, const Encoding&);
/// The name's ending says the kind: .png, .jpg, .jpeg, .webp, .tif or .tiff; standard output gets a PNG. A
/// JPEG shows white where the picture is transparent.
void writePicture(qkzhost::Host&, REALpictureStruct*, const std::filesystem::path&,
                  const KeptMetadata& = nullptr, const Encoding& = {});

/// What is done to a picture: takes one and gives what becomes of it.
using PictureChange = std::function<qkzhost::OwnedPicture(qkzhost::OwnedPicture)>;
/// Reads a picture, changes it and writes it, a strip of some rows after the other, in little memory and
/// while those before are encoded. So `change` is to look at each pixel alone, wherever it is, and keep the
/// size. What it throws is passed on.
void changePicture(qkzhost::Host&, const std::filesystem::path&, const PictureChange& change,
                   const std::filesystem::path& output, const Encoding& = {}, const Limits& = {});

/// The bytes of a packed picture (PicturetoBinaryStringQKZ makes them); only the header is judged.
std::vector<std::uint8_t> readPacked(const std::filesystem::path&, const Limits& = {});
/// A whole file of at most `most` bytes.
std::vector<std::uint8_t> readFile(const std::filesystem::path&, std::uint64_t most = 1 << 30);
/// A regular file, also one that a symbolic link leads to, is replaced as a whole, with its mode kept, or
/// stays as it was; anything else that exists, such as a pipe, is written straight into.
void writeFile(const std::filesystem::path&, const void* bytes, std::size_t count);

}  // namespace qkz
