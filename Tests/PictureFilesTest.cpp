// Pictures on their way between files and the host.
#include "PictureFiles.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <fstream>

#include "PictureFileSupport.h"

/// What makes the HEIC files here leaves something behind; what reads them does not.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265"; }  // NOLINT

namespace {

using namespace qkz;
using qkztest::Argb;
using qkztest::libraryImage;
using qkztest::readArgb;
using std::filesystem::path;
using vips::VImage;

class PictureFiles : public testing::Test {
 protected:
    static void SetUpTestSuite() { VIPS_INIT("test"); }
    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::vector<std::uint32_t> read(const path& file) {
        const PictureFile opened = readPicture(host, file);
        return host.objects.surface(opened.picture).argb();
    }
    std::vector<std::uint32_t> readOf(const VImage& image, const char* name) {
        image.write_to_file((folder / name).c_str());
        return read(folder / name);
    }

    const path folder = path(testing::TempDir()) / ("files" + std::to_string(getpid()));
    qkzhost::Host host;
    /// Smooth, so that lossy kinds leave it nearly as it is.
    const Argb photo = [] {
        Argb made{48, 32, false, {}};
        for (std::uint32_t i = 0; i < 48 * 32; ++i)
            made.words.push_back(0xFF000000 | i % 48 * 5 << 16 | i / 48 * 7 << 8 | 64);
        return made;
    }();
};

int farthest(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b) {
    int most = a.size() == b.size() ? 0 : 999;
    for (std::size_t i = 0; most < 999 && i < a.size(); ++i) {
        for (const int shift : {0, 8, 16, 24}) {
            const auto byte = [=](std::uint32_t word) { return static_cast<int>(word >> shift & 255); };
            most = std::max(most, std::abs(byte(a[i]) - byte(b[i])));
        }
    }
    return most;
}

TEST_F(PictureFiles, ReadsAndWritesTheKindsOfPhotographs) {
    Argb clear = photo;
    clear.alpha = true;
    for (std::size_t i = 0; i < 48 * 4; ++i) clear.words[i] &= 0x80FFFFFF;
    for (const auto& [name, apart, keepsAlpha] : {std::tuple{"a.png", 0, true},
                                                  {"a.JPG", 12, false},
                                                  {"a.jpeg", 12, false},
                                                  {"a.webp", 12, true},
                                                  {"a.tif", 0, true},
                                                  {"a.gif", 24, false},
                                                  {"a.bmp", 0, false},
                                                  {"a.heic", 12, false}}) {
        EXPECT_LE(farthest(readOf(libraryImage(photo), name), photo.words), apart) << name;
        if (!keepsAlpha && std::string_view(name).find("jp") == std::string::npos) continue;
        if (std::string_view(name) == "a.JPG") continue;
        auto picture = host.newPicture(48, 32, true, clear.words);
        host.objects.picture(picture).resolution = {300, 150};
        writePicture(host, picture, folder / name);
        const auto expected = keepsAlpha ? 0x80u : 0xFFu;
        EXPECT_EQ(read(folder / name)[40] >> 24, expected) << name;
        EXPECT_LE(farthest({read(folder / name).back()}, {clear.words.back()}), apart) << name;
        EXPECT_EQ(readHeader(folder / name).resolution[0], 300) << name;
        EXPECT_EQ(readHeader(folder / name).resolution[1], 150) << name;
    }
    auto picture = host.newPicture(48, 32, true);
    writePicture(host, picture, folder / "a.jpg");
    EXPECT_EQ(read(folder / "a.jpg")[0], 0xFFFFFFFF) << "white where it is transparent";
}

TEST_F(PictureFiles, TurnsAndKeepsWhatStaysTrue) {
    // What is at the left of the first row as it is to be seen, and at its right: corners of the stored
    // picture.
    const std::uint32_t corners[] = {0xFF202020, 0xFF606060, 0xFFA0A0A0, 0xFFE0E0E0};
    Argb quarters{32, 16, false, {}};
    for (std::size_t i = 0; i < 32 * 16; ++i) quarters.words.push_back(corners[i / 256 * 2 + i % 32 / 16]);
    const std::array<int, 2> firstRows[] = {{0, 1}, {1, 0}, {3, 2}, {2, 3}, {0, 2}, {2, 0}, {3, 1}, {1, 3}};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        VImage image = libraryImage(quarters);
        image.set(VIPS_META_ORIENTATION, orientation);
        image.set("exif-ifd0-Artist", "somebody (somebody, ASCII, 9 components, 9 bytes)");
        image.set("exif-ifd2-ColorSpace", "65535 (Uncalibrated, Short, 1 components, 2 bytes)");
        image.set("jpeg-thumbnail-data", nullptr, const_cast<char*>("shows the old one"), 17);
        image.write_to_file((folder / "a.jpg").c_str());
        const PictureFile opened = readPicture(host, folder / "a.jpg");
        auto& surface = host.objects.surface(opened.picture);
        ASSERT_EQ(surface.width, orientation < 5 ? 32 : 16);
        EXPECT_EQ(readHeader(folder / "a.jpg").width, surface.width);
        const auto first = firstRows[orientation - 1];
        EXPECT_LE(
            farthest({surface.argb().front(), surface.argb()[static_cast<std::size_t>(surface.width) - 1]},
                     {corners[first[0]], corners[first[1]]}),
            3)
            << orientation;
        for (const char* name : {"b.jpg", "b.webp", "b.png"}) {
            writePicture(host, opened.picture, folder / name, opened.metadata);
            const VImage written = VImage::new_from_file((folder / name).c_str());
            EXPECT_EQ(vips_image_get_orientation(written.get_image()), 1) << name;
            ASSERT_NE(written.get_typeof("exif-ifd0-Artist"), 0) << name;
            EXPECT_EQ(std::string(written.get_string("exif-ifd0-Artist")).substr(0, 9), "somebody ") << name;
            EXPECT_EQ(written.get_string("exif-ifd2-ColorSpace")[0], '1') << name;
            EXPECT_EQ(written.get_typeof("jpeg-thumbnail-data"), 0) << name;
        }
    }
}

TEST_F(PictureFiles, FindsEveryTimeThatTheEndIsMissing) {
    const path file = folder / "small.png";
    qkztest::writeArgb({4, 3, false, std::vector<std::uint32_t>(12, 0xFF123456)}, file);
    resize_file(file, file_size(file) - 20);
    for (int i = 0; i < 60; ++i) EXPECT_THROW(readPicture(host, file), std::runtime_error);
}

TEST_F(PictureFiles, BringsColoursIntoSrgb) {
    // From the wider primaries of Display P3, which has sRGB's curve.
    constexpr double matrix[3][3] = {{1.2249, -0.2247, 0}, {-0.0420, 1.0419, 0}, {-0.0197, -0.0786, 1.0979}};
    std::vector<std::uint32_t> expected;
    for (const std::uint32_t word : photo.words) {
        std::uint32_t result = 0xFF;
        for (const auto& row : matrix) {
            double sum = 0;
            for (int i = 0; i < 3; ++i) {
                const double value = (word >> (16 - 8 * i) & 255) / 255.0;
                sum += row[i] * (value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
            }
            sum = std::clamp(sum, 0.0, 1.0);
            sum = sum <= 0.0031308 ? sum * 12.92 : 1.055 * std::pow(sum, 1 / 2.4) - 0.055;
            result = result << 8 | static_cast<std::uint32_t>(std::lround(sum * 255));
        }
        expected.push_back(result);
    }
    const VImage image = libraryImage(photo);
    const auto with = [&](const char* profile, const char* name) {
        image.pngsave((folder / name).c_str(), VImage::option()->set("profile", profile));
        return read(folder / name);
    };
    EXPECT_LE(farthest(with("p3", "a.png"), expected), 4);
    EXPECT_EQ(with("srgb", "a.png"), photo.words) << "nothing is lost on the way";

    const auto inBytes = [](double level) { return static_cast<std::uint32_t>(std::lround(level)); };
    const VImage deep = VImage::black(2, 1) + std::vector<double>{0x4321, 0xFFFF, 511};
    EXPECT_EQ(readOf(deep.cast(VIPS_FORMAT_USHORT)
                         .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16)),
                     "a.png")[0],
              0xFF00FF00 | inBytes(0x4321 / 257.0) << 16 | inBytes(511 / 257.0));
    EXPECT_EQ(readOf((VImage::black(2, 1) + 77).cast(VIPS_FORMAT_UCHAR), "a.png")[0], 0xFF4D4D4D);

    const VImage inks = image.icc_transform("cmyk", VImage::option()->set("input_profile", "srgb"));
    EXPECT_LE(farthest({readOf(inks, "a.jpg")[500]}, {photo.words[500]}), 20);
    EXPECT_LE(farthest({readOf(inks, "a.tif")[500]}, {photo.words[500]}), 20);
}

TEST_F(PictureFiles, PassStripByStripAsTheyWouldWhole) {
    Argb noise{37, 150, true, {}};
    for (std::uint32_t i = 0; i < 37 * 150; ++i) noise.words.push_back(i * 2654435761u);
    const path from = folder / "a.png", whole = folder / "whole.png", strips = folder / "strips.png";
    VImage image = libraryImage(noise);
    image.set("exif-ifd0-Artist", "somebody (somebody, ASCII, 9 components, 9 bytes)");
    image.set(VIPS_META_XMP_NAME, nullptr, const_cast<char*>("<about the old one>"), 19);
    image.set("png-comment-0-Title", "a field");
    image.set("png-comment-1-Thumb::URI", "the old one's");
    image.pngsave(from.c_str(), VImage::option()->set("profile", "p3"));
    int rows = 0, most = 0;
    // Takes the transparency away, so that what is read and what is written differ.
    const auto opaque = [&](const qkzhost::OwnedPicture& picture) {
        qkzhost::Surface& surface = host.objects.surface(picture);
        rows += surface.height;
        most = std::max(most, surface.height);
        auto result = host.newPicture(surface.width, surface.height, false, surface.argb());
        host.objects.picture(result).resolution = host.objects.picture(picture).resolution;
        return result;
    };
    changePicture(host, from, opaque, strips);
    EXPECT_EQ(rows, 150 + 1) << "those of the strips and a small picture that shows what becomes of it";
    EXPECT_LT(most, 50);
    const PictureFile read = readPicture(host, from);
    writePicture(host, opaque(read.picture), whole, read.metadata);
    EXPECT_EQ(readFile(strips), readFile(whole));
    const VImage written = VImage::new_from_file(whole.c_str());
    EXPECT_EQ(written.get_string("png-comment-0-Title"), std::string("a field"));
    for (const char* untrue : {"png-comment-1-Thumb::URI", VIPS_META_XMP_NAME}) {
        EXPECT_EQ(written.get_typeof(untrue), 0) << untrue;
    }

    // Of HEIC the library owns the bytes of EXIF data no longer than the image.
    const path heic = folder / "a.heic";
    image.write_to_file(heic.c_str());
    changePicture(host, heic, opaque, strips);
    const PictureFile other = readPicture(host, heic);
    writePicture(host, opaque(other.picture), whole, other.metadata);
    EXPECT_EQ(readFile(strips), readFile(whole));

    const auto all = readFile(from);
    const auto fails = [&](const PictureChange& change) -> std::string {
        try {
            changePicture(host, from, change, folder / "none.png");
        } catch (const std::exception& error) {
            EXPECT_FALSE(exists(folder / "none.png"));
            return error.what();
        }
        return "";
    };
    int calls = 0;
    const auto third = [&](qkzhost::OwnedPicture picture) {
        if (++calls == 3) throw std::out_of_range("the third");
        return picture;
    };
    EXPECT_EQ(fails(third), "the third");
    writeFile(from, all.data(), all.size() * 3 / 4);
    EXPECT_TRUE(fails(opaque).starts_with(from.string() + ": is damaged: "));
}

TEST_F(PictureFiles, RefuseWhatIsDamaged) {
    for (const char* name : {"a.png", "a.jpg", "a.webp", "a.tif", "a.gif", "a.bmp", "a.heic"}) {
        VImage image =
            VImage::gaussnoise(96, 64, VImage::option()->set("mean", 128)->set("sigma", 60)->set("seed", 1));
        image = image.bandjoin(image).bandjoin(image).cast(VIPS_FORMAT_UCHAR);
        ASSERT_EQ(readOf(image.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB)), name)
                      .size(),
                  96u * 64)
            << name;
        const auto whole = readFile(folder / name);
        for (const std::size_t part : {2u, 4u}) {
            writeFile(folder / name, whole.data(), whole.size() * (part - 1) / part);
            EXPECT_THROW(read(folder / name), std::runtime_error) << name << ", all but one of " << part;
        }
        if (std::string_view(name) != "a.jpg") continue;
        auto other = whole;
        other.insert(other.end() - 2, {'s', 't', 'r', 'a', 'y'});  // some cameras do
        writeFile(folder / name, other.data(), other.size());
        EXPECT_NO_THROW(read(folder / name));
        other = whole;
        std::fill_n(other.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2), 64, 0xFF);
        writeFile(folder / name, other.data(), other.size());
        EXPECT_THROW(read(folder / name), std::runtime_error) << "corrupt in the middle";
    }
}

}  // namespace
