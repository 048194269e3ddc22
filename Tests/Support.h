// What all tests share: a host with the plug-in in it, pictures computed without the plug-in, and the
// storages that a picture can have.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "Host.h"

namespace qkztest {

using namespace qkzhost;
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;
using PictureHandle = REALpictureStruct*;

/// One pixel as it is stored. Alpha: the top byte of a Cairo picture with alpha, 255 of one without,
/// 0..127 of a GD picture (0 is opaque), 255 of a pixmap.
struct Rgba {
    int r = 0, g = 0, b = 0, a = 0;
    bool operator==(const Rgba&) const = default;
};

/// A host in which the plug-in has been started. At scope end nothing may be left behind: objects,
/// references, strings and description locks as they were at the start, no misuse of handles, no exception
/// pending.
class Plugin : public Host {
 public:
    /// `omitted` are missing from the start.
    explicit Plugin(Settings = {}, std::initializer_list<const char*> omitted = {});
    ~Plugin();
    /// The lines that the debug log gets while `action` runs, without their common start "QKZ Debug: ".
    /// Another line on standard error is a failure.
    Lines log(const std::function<void()>& action);

 private:
    Census before_;
};

/// What a command of the shell prints on standard output, and its exit status; -1 when it did not exit.
struct Outcome {
    int status = -1;
    std::string text;
};
Outcome runCommand(const std::string&);

/// Starts the plug-in under test in the host: the loaded file in one test program, the linked objects in the
/// other. Each program has its own.
void startPlugin(Host&);
/// The shared object under test: the one just built, or that of the environment variable QKZ_PLUGIN.
std::string pluginFile();
/// The switch of the debug log, by way of the host.
void setDebugLog(Host&, bool on);

/// How a pixel is stored; the numbers are the plug-in's.
enum class Format { gd = 8, rgb = 11, argb = 14, xrgb = 15 };

/// A picture as words, computed with by the tests alone. A word holds red in bits 16-23, green 8-15 and
/// blue 0-7; the top byte is the alpha (argb, premultiplied), the seven bits of GD (127 is transparent), any
/// (xrgb) or 0 (rgb).
struct Image {
    Format format = Format::xrgb;
    bool alpha = false;
    int width = 0, height = 0;
    std::vector<std::uint32_t> words = {};

    std::uint32_t& word(int x, int y) { return words[static_cast<std::size_t>(y * width + x)]; }
    std::uint32_t word(int x, int y) const { return words[static_cast<std::size_t>(y * width + x)]; }
    /// As an operation reads it: alpha 0..255, 255 without an alpha channel.
    Rgba at(int x, int y) const { return decode(word(x, y)); }
    /// As an operation writes it.
    void set(int x, int y, const Rgba& pixel) { word(x, y) = encode(pixel); }
    Rgba decode(std::uint32_t) const;
    std::uint32_t encode(const Rgba&) const;
    /// What the host's new picture of the same kind holds.
    Image blank() const { return blank(width, height); }
    Image blank(int newWidth, int newHeight) const;
    bool operator==(const Image&) const = default;
};
/// Names the format and size only.
std::ostream& operator<<(std::ostream&, const Image&);
/// Tells the first difference and how many there are; empty when equal.
std::string difference(const Image& actual, const Image& expected);
#define EXPECT_SAME_IMAGE(actual, expected) EXPECT_EQ(::qkztest::difference(actual, expected), "")

/// A host picture with the image's words, in the storage of the host's settings.
OwnedPicture makePicture(Host&, const Image&);
/// Of no size for nil.
Image readPicture(Host&, PictureHandle);
/// What a method returns.
OwnedPicture pictureOf(Host&, std::string_view method, const std::vector<Value>& arguments);
/// A picture without alpha in which every pixel is different.
Image numbered(Format, int width, int height);

/// The exact tables: value x alpha / 255 rounded half up in single precision, and the largest value that
/// gives the product (or the product itself where none does).
int multiplied(int alpha, int value);
int unmultiplied(int alpha, int product);

/// A failure while one is alive tells where it was made, and its seed.
class Random {
 public:
    /// What is drawn comes from the bytes until they are spent.
    explicit Random(std::uint64_t seed, std::span<const std::uint8_t> bytes = {},
                    const char* file = __builtin_FILE(), int line = __builtin_LINE())
        : engine_(seed), bytes_(bytes), trace_(file, line, "seed " + std::to_string(seed)) {}
    std::uint32_t word() { return static_cast<std::uint32_t>(draw(4)); }
    /// 0..count-1.
    int below(int count) {
        return static_cast<int>(draw(count > 256 ? 4 : 1) % static_cast<std::uint64_t>(count));
    }
    bool oneIn(int count) { return below(count) == 0; }
    template <class T>
    T of(std::initializer_list<T> choices) {
        return choices.begin()[below(static_cast<int>(choices.size()))];
    }
    /// Mostly -3..size+3, sometimes as far out as 64 bits go.
    std::int64_t coordinate(int size);

 private:
    /// From so many bytes, or 64 bits.
    std::uint64_t draw(std::size_t count) {
        if (bytes_.size() < count) return engine_();
        std::uint64_t number = 0;
        for (const std::uint8_t byte : bytes_.first(count)) number = number << 8 | byte;
        bytes_ = bytes_.subspan(count);
        return number;
    }

    std::mt19937_64 engine_;
    std::span<const std::uint8_t> bytes_;
    testing::ScopedTrace trace_;
};

/// Any pixels, only gray ones, few colours, one colour; any alpha, opaque, transparent, or half of the
/// pixels each. Colours of argb are mostly properly premultiplied, sometimes anything.
Image randomImage(Random&, Format, bool alpha, int width, int height);

/// One way to store a picture, with a host that does.
struct StorageCase {
    const char* name;
    Settings settings;
    Format format;
    bool alpha;
};
const std::vector<StorageCase>& storages();
inline void PrintTo(const StorageCase& storage, std::ostream* out) { *out << storage.name; }
/// The first line of a test that runs on any storage: there may be no display.
#define SKIP_WITHOUT(storageCase)                                       \
    if ((storageCase).settings.storage == ::qkzhost::Storage::pixmap && \
        !::qkzhost::pixmapObstacle().empty())                           \
    GTEST_SKIP() << ::qkzhost::pixmapObstacle()

/// A test on a host of a storage.
class OnStorage : public testing::TestWithParam<StorageCase> {
 protected:
    void SetUp() override { SKIP_WITHOUT(storage); }
    const StorageCase& storage = GetParam();
    Plugin host{storage.settings};
};
#define ON_EVERY_STORAGE(suite) \
    INSTANTIATE_TEST_SUITE_P(All, suite, testing::ValuesIn(storages()), testing::PrintToStringParamName())

/// Which pixels: columns left..right-1 of rows top..bottom-1.
struct Rectangle {
    int left, top, right, bottom;
};
/// Writes f(pixel) for every pixel of the rectangle. In rgb images the walk along a row starts 4 bytes per
/// column from its start and takes what lies there, as long as there are bytes; rows must not be padded.
void mapRectangle(const Image& source, Image& target, const Rectangle&,
                  const std::function<Rgba(const Rgba&)>& f);

}  // namespace qkztest
