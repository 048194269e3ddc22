#include "Support.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <sstream>

namespace qkztest {

Plugin::Plugin(Settings chosen, std::initializer_list<const char*> omitted) : Host(chosen) {
    for (const char* name : omitted) faults.omit(name);
    startPlugin(*this);
    before_ = objects.census();
}

Plugin::~Plugin() {
    EXPECT_EQ(exceptions.take(), std::nullopt);
    EXPECT_EQ(objects.census(), before_);
    EXPECT_EQ(objects.errors(), Lines{});
}

Lines Plugin::log(const std::function<void()>& action) {
    const std::string prefix = "QKZ Debug: ";
    setDebugLog(*this, true);
    testing::internal::CaptureStderr();
    action();
    std::istringstream text(testing::internal::GetCapturedStderr());
    setDebugLog(*this, false);
    Lines lines;
    for (std::string line; std::getline(text, line);) {
        EXPECT_TRUE(line.starts_with(prefix)) << line;
        lines.push_back(line.substr(std::min(prefix.size(), line.size())));
    }
    return lines;
}

Outcome runCommand(const std::string& command) {
    Outcome outcome;
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return outcome;
    char buffer[4096];
    while (const std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) outcome.text.append(buffer, n);
    const int status = pclose(pipe);
    if (WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
    return outcome;
}

Rgba Image::decode(std::uint32_t w) const {
    const auto byte = [w](int shift) { return static_cast<int>(w >> shift & 255); };
    int a = 255;
    if (alpha && format == Format::argb) a = byte(24);
    if (alpha && format == Format::gd) a = (byte(24) * 2 % 256) | byte(24) % 2;
    return {byte(16), byte(8), byte(0), a};
}

std::uint32_t Image::encode(const Rgba& p) const {
    int top = 255;
    if (format == Format::rgb) top = 0;
    if (format == Format::gd) top = alpha ? p.a / 2 : 0;
    if (format == Format::argb && alpha) top = p.a;
    return static_cast<std::uint32_t>(top) << 24 | static_cast<std::uint32_t>(p.r << 16 | p.g << 8 | p.b);
}

Image Image::blank(int newWidth, int newHeight) const {
    const std::uint32_t nothing = format == Format::gd && alpha ? 0x7F000000 : 0;
    return {format, alpha, newWidth, newHeight,
            std::vector<std::uint32_t>(static_cast<std::size_t>(newWidth * newHeight), nothing)};
}

std::ostream& operator<<(std::ostream& out, const Image& image) {
    return out << image.width << " x " << image.height << " of format " << static_cast<int>(image.format)
               << (image.alpha ? " with alpha" : "");
}

std::string difference(const Image& actual, const Image& expected) {
    std::ostringstream text;
    if (actual.format != expected.format || actual.alpha != expected.alpha ||
        actual.width != expected.width || actual.height != expected.height) {
        text << actual << " instead of " << expected;
        return text.str();
    }
    int count = 0;
    for (int y = 0; y < actual.height; ++y) {
        for (int x = 0; x < actual.width; ++x) {
            if (actual.word(x, y) == expected.word(x, y) || count++ > 0) continue;
            text << actual << ": at " << x << ", " << y << std::hex << ' ' << actual.word(x, y)
                 << " instead of " << expected.word(x, y) << std::dec;
        }
    }
    if (count > 0) text << ", the first of " << count;
    return text.str();
}

OwnedPicture makePicture(Host& host, const Image& image) {
    OwnedPicture picture(host.newPicture(image.width, image.height, image.alpha));
    if (!picture.get()) throw std::runtime_error("the host cannot make the picture");
    for (int y = 0; y < image.height; ++y) {
        host.objects.surface(picture).write(0, y, image.width,
                                            &image.words[static_cast<std::size_t>(y * image.width)]);
    }
    return picture;
}

Image readPicture(Host& host, PictureHandle picture) {
    if (!picture) return {};
    Surface& surface = host.objects.surface(picture);
    Image image{Format::gd, surface.alpha, surface.width, surface.height};
    if (surface.storage == Storage::pixmap) image.format = Format::rgb;
    if (surface.storage == Storage::cairo) image.format = surface.alpha ? Format::argb : Format::xrgb;
    image.words.resize(static_cast<std::size_t>(image.width * image.height));
    for (int y = 0; y < image.height; ++y) surface.read(0, y, image.width, &image.word(0, y));
    return image;
}

OwnedPicture pictureOf(Host& host, std::string_view method, const std::vector<Value>& arguments) {
    return host.call(method, arguments).picture();
}

Image numbered(Format format, int width, int height) {
    Image image = Image{format}.blank(width, height);
    std::uint32_t next = 0x102030;
    for (std::uint32_t& word : image.words) word = image.encode(image.decode(next += 0x010203));
    return image;
}

int multiplied(int alpha, int value) {
    const float factor = static_cast<float>(alpha) / 255.0F;
    const float product = static_cast<float>(value) * factor;
    return static_cast<int>(product + 0.5F);
}

int unmultiplied(int alpha, int product) {
    static const std::vector<int> table = [] {
        std::vector<int> result(65536);
        for (std::size_t i = 0; i < result.size(); ++i) result[i] = static_cast<int>(i % 256);
        for (int a = 0; a < 256; ++a)
            for (int v = 0; v < 256; ++v) result[static_cast<std::size_t>(a * 256 + multiplied(a, v))] = v;
        return result;
    }();
    return table[static_cast<std::size_t>(alpha * 256 + product)];
}

std::int64_t Random::coordinate(int size) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (oneIn(6)) {
        return of({Limits::min(), Limits::min() + 1, Limits::max() - 1, Limits::max(), std::int64_t{1} << 31,
                   std::int64_t{1} << 32, -(std::int64_t{1} << 32), std::int64_t{1} << 62});
    }
    return below(size + 7) - 3;
}

Image randomImage(Random& random, Format format, bool alpha, int width, int height) {
    Image image = Image{format, alpha, 0, 0}.blank(width, height);
    const int colors = random.below(5), alphas = random.below(4), few = random.oneIn(3) ? 1 : 4;
    const bool proper = !random.oneIn(4);
    std::uint32_t palette[4];
    for (std::uint32_t& color : palette) color = random.word();
    for (std::uint32_t& word : image.words) {
        Rgba p = image.decode(random.word());
        if (colors == 1 || (colors == 2 && random.oneIn(2))) p.g = p.b = p.r;
        if (colors == 3) p = image.decode(palette[random.below(few)]);
        if (colors == 4) p = {random.of({0, 1, 254, 255}), random.of({0, 255}), random.of({0, 255}), p.a};
        if (alphas == 1 || (alphas == 2 && random.oneIn(2))) p.a = 255;
        if (alphas == 3 && random.oneIn(2)) p.a = random.of({0, 1, 254});
        if (alpha && format == Format::argb && proper)
            for (int* c : {&p.r, &p.g, &p.b}) *c = multiplied(p.a, *c);
        word = image.encode(p);
        // Bits that mean nothing may hold anything.
        if (format == Format::xrgb || (format == Format::gd && !alpha)) word ^= random.word() & 0x7F000000;
    }
    return image;
}

const std::vector<StorageCase>& storages() {
    const Settings padded{.extraStride = 20};
    const Settings gd{.app = AppKind::console, .storage = Storage::gd};
    // The toolkit that knows pixmaps belongs to hosts below 2017.02.
    const Settings pixmap{.version = 2016.04, .storage = Storage::pixmap};
    static const std::vector<StorageCase> all = {{"CairoAlpha", {}, Format::argb, true},
                                                 {"CairoOpaque", {}, Format::xrgb, false},
                                                 {"CairoAlphaPadded", padded, Format::argb, true},
                                                 {"CairoOpaquePadded", padded, Format::xrgb, false},
                                                 {"GdAlpha", gd, Format::gd, true},
                                                 {"GdOpaque", gd, Format::gd, false},
                                                 {"Pixmap", pixmap, Format::rgb, false}};
    return all;
}

void mapRectangle(const Image& source, Image& target, const Rectangle& area,
                  const std::function<Rgba(const Rgba&)>& f) {
    if (source.format != Format::rgb) {
        for (int y = area.top; y < area.bottom; ++y)
            for (int x = area.left; x < area.right; ++x) target.set(x, y, f(source.at(x, y)));
        return;
    }
    // All the image's bytes in one line, a pixel anywhere in it.
    const int bytes = source.width * source.height * 3;
    const auto shift = [](int byte) { return 16 - byte % 3 * 8; };
    for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) {
            const int at = y * source.width * 3 + area.left * 4 + (x - area.left) * 3;
            if (at + 3 > bytes) break;
            Rgba p{.a = 255};
            const auto index = [](int byte) { return static_cast<std::size_t>(byte / 3); };
            int* const in[] = {&p.r, &p.g, &p.b};
            for (int i = 0; i < 3; ++i)
                *in[i] = static_cast<int>(source.words[index(at + i)] >> shift(at + i) & 255);
            const Rgba q = f(p);
            const int out[] = {q.r, q.g, q.b};
            for (int i = 0; i < 3; ++i) {
                std::uint32_t& word = target.words[index(at + i)];
                word = (word & ~(255U << shift(at + i))) | static_cast<std::uint32_t>(out[i])
                                                               << shift(at + i);
            }
        }
    }
}

}  // namespace qkztest
