#include "Gallery.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "Help.h"
#include "Words.h"

namespace qkz {
namespace {

using namespace qkzhost;
using std::filesystem::path;

constexpr int longestSide = 480;  // that of the pictures that the calls were chosen on
constexpr int sampleCount = 8000;
const char* const mark = "<meta name=\"generator\" content=\"qkz gallery\">";

const char* const pageBegins = R"(
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>PictureQKZ on a photograph</title>
<style>
body { font: 16px/1.45 system-ui, sans-serif; max-width: 84rem; margin: 0 auto; padding: 1rem; }
main { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(22rem, 100%), 1fr)); gap: 1.5rem; }
section { min-width: 0; }
h2 { font-size: 1.05rem; margin: .4rem 0; overflow-wrap: anywhere; }
p { margin: .4rem 0; }
.pictures { display: flex; align-items: flex-end; gap: .4rem; }
img { min-width: 0; max-width: 100%; height: auto; }
.see-through { background: repeating-conic-gradient(#bbb 0% 25%, #fff 0% 50%) 0 0 / 16px 16px; }
code, samp { font: .85rem/1.4 ui-monospace, monospace; overflow-wrap: anywhere; }
samp { display: block; white-space: pre-wrap; }
.note { font-style: italic; }
</style>
</head>
<body>
<h1>PictureQKZ on a photograph</h1>
<p>What every method makes of the photograph, or says of it. In this folder the command below a picture makes it
again; <code>qkz help</code> and a method's name tell more.</p>
<main>
)";

struct Drawing {
    int width = 0, height = 0;
    bool alpha = false;
    std::vector<std::uint32_t> argb;  // straight (not premultiplied), row by row
};

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        result += c == '&'   ? "&amp;"
                  : c == '<' ? "&lt;"
                  : c == '>' ? "&gt;"
                  : c == '"' ? "&quot;"
                             : std::string(1, c);
    }
    return result;
}

Drawing drawingOf(Host& host, const OwnedPicture& picture) {
    Surface& surface = host.objects.surface(picture);
    return {surface.width, surface.height, surface.alpha, surface.argb()};
}

/// A new picture of a size, each pixel of which `argbAt(x, y)` gives.
template <class ArgbAt>
Drawing drawn(int width, int height, bool alpha, ArgbAt argbAt) {
    Drawing image{width, height, alpha, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) image.argb.push_back(argbAt(x, y));
    }
    return image;
}

std::uint32_t at(const Drawing& image, int x, int y) {
    return image.argb[static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
                      static_cast<std::size_t>(x)];
}

/// Each pixel is the mean of those that it stands for, weighed by their alpha.
Drawing scaledDown(const Drawing& image) {
    const int longest = std::max(image.width, image.height);
    if (longest <= longestSide) return image;
    const auto scaled = [&](int side) {
        return std::max(1, static_cast<int>(std::int64_t{side} * longestSide / longest));
    };
    const int width = scaled(image.width), height = scaled(image.height);
    const auto begin = [](int i, int side, int from) {
        return static_cast<int>(std::int64_t{i} * from / side);
    };
    return drawn(width, height, image.alpha, [&](int x, int y) {
        std::uint64_t sums[4] = {}, count = 0;  // alpha, red, green, blue
        for (int fromY = begin(y, height, image.height); fromY < begin(y + 1, height, image.height);
             ++fromY) {
            for (int fromX = begin(x, width, image.width); fromX < begin(x + 1, width, image.width);
                 ++fromX) {
                const std::uint32_t argb = at(image, fromX, fromY);
                const std::uint64_t alpha = image.alpha ? argb >> 24 : 255;
                ++count;
                sums[0] += alpha;
                for (int i = 1; i < 4; ++i) sums[i] += alpha * (argb >> (24 - 8 * i) & 255);
            }
        }
        std::uint32_t argb = static_cast<std::uint32_t>((sums[0] + count / 2) / count) << 24;
        for (int i = 1; i < 4 && sums[0] > 0; ++i) {
            argb |= static_cast<std::uint32_t>((sums[i] + sums[0] / 2) / sums[0]) << (24 - 8 * i);
        }
        return argb;
    });
}

/// Fades to nothing from 60 % of the way between the middle and the edges on.
std::uint32_t faded(const Drawing& image, int x, int y) {
    const double fromMiddle = std::hypot(2.0 * x / image.width - 1, 2.0 * y / image.height - 1);
    const double share = std::clamp((1 - fromMiddle) / 0.4, 0.0, 1.0);
    return static_cast<std::uint32_t>(std::lround(255 * share)) << 24 | (at(image, x, y) & 0xFFFFFF);
}

void write(const path& file, std::string_view bytes) {
    fromFile([&] { writeFile(file, bytes.data(), bytes.size()); });
}

/// Green or blue, whichever is less: a threshold looks at these.
int lightness(std::uint32_t argb) { return static_cast<int>(std::min(argb >> 8 & 255, argb & 255)); }

/// The lightness that one pixel in forty reaches.
int lightest(const Drawing& image) {
    std::vector<int> all;
    for (const std::uint32_t argb : image.argb) all.push_back(lightness(argb));
    const auto wanted = all.begin() + static_cast<std::ptrdiff_t>(all.size() - 1 - all.size() / 40);
    std::nth_element(all.begin(), wanted, all.end());
    return *wanted;
}

class Studio {
 public:
    Studio(Host& host, const Limits& limits) : host_(host), limits_(limits) {}

    /// Writes the files that calls are made on into the current folder. Throws UsageError.
    void lay(const Drawing& photo) {
        save(photo, "photo.png");
        const int width = photo.width, height = photo.height;
        save(drawn(width, height, photo.alpha, [&](int x, int y) { return at(photo, width - 1 - x, y); }),
             "mirrored.png");
        const int left = width * 3 / 8, top = height * 3 / 8;
        save(drawn(std::max(1, width / 4), std::max(1, height / 4), photo.alpha,
                   [&](int x, int y) { return at(photo, left + x, top + y); }),
             "piece.png");
        save(drawn(width, height, true, [&](int x, int y) { return faded(photo, x, y); }), "soft.png");
        const int light = lightest(photo);
        save(drawn(
                 width, height, false,
                 [&](int x, int y) { return lightness(at(photo, x, y)) >= light ? 0xFFFF0000 : 0xFF000000; }),
             "spots.png");
        std::string halves, levels;
        for (int value = 0; value < 256; ++value) {
            halves += value < 128 ? "00" : "FF";
            levels += static_cast<char>(value / 64 * 85);
        }
        write("levels.raw", levels);
        halves = "\"hex:" + halves + '"';
        make("TransformColorsQKZ(" + halves + ", " + halves + ", " + halves + ")", "colours.png");
        make("PicturetoBinaryStringQKZ($)", "photo.ppic");
        write("look.cube",
              "LUT_3D_SIZE 2\n0.05 0.05 0.25\n0.95 0.1 0.2\n0.1 0.85 0.2\n1 0.9 0.2\n"
              "0.1 0.1 0.75\n0.95 0.15 0.7\n0.15 0.9 0.75\n1 0.97 0.8\n");
        std::string samples;
        for (int i = 0; i < sampleCount; ++i) {
            samples += static_cast<char>(at(photo, i * width / sampleCount, height / 2) >> 8 & 255);
        }
        write("samples.raw", samples);
    }

    /// A part of the page: what the words' calls give.
    std::string part(const Words& words) {
        std::ostringstream printed;
        Session session(host_, limits_, printed);
        const std::string source = std::string(words.source) + ".png";
        session.open(path(source));
        const Drawing before = drawingOf(host_, session.picture());
        const REALpictureStruct* const opened = session.picture().get();
        std::string command = "qkz run " + source;
        try {
            for (const std::string& call : words.calls) {
                explaining([&] { session.run(call); });
                command += " '" + call + '\'';
                if (const auto head = session.stringHead()) printed << *head << '\n';
            }
        } catch (const std::runtime_error& error) {
            printed << error.what() << '\n';
        } catch (const UsageError& error) {
            printed << error.what() << '\n';
        }
        const Drawing after = drawingOf(host_, session.picture());
        const bool same = after.argb == before.argb && after.width == before.width;
        std::string pictures, note;
        if (same) {
            pictures = shown(before, source, source);
            if (session.picture().get() != opened) {
                note = "It is the same as before.";
                command += " -o out.png";
            }
        } else {
            const std::string name = std::string(words.name) + ".png";
            fromFile([&] { session.save(name); });
            pictures = shown(after, name, std::string(words.name) + " on the photograph");
            command += " -o out.png";
        }
        for (const char* other : {"mirrored.png", "piece.png"}) {
            if (command.find(other) == std::string::npos) continue;
            Session with(host_, limits_);
            with.open(path(other));
            Drawing image = drawingOf(host_, with.picture());
            image.width = std::max(1, image.width / (other[0] == 'm' ? 4 : 1));
            image.height = std::max(1, image.height / (other[0] == 'm' ? 4 : 1));
            pictures += shown(image, other, other);
        }
        return "<section>\n<div class=\"pictures\">" + pictures + "</div>\n<h2>" + escaped(words.name) +
               "</h2>\n<p>" + escaped(firstSentenceOn(std::string(words.name))) + ".</p>\n<p><code>" +
               escaped(command) + "</code></p>\n" +
               (printed.str().empty() ? "" : "<samp>" + escaped(printed.str()) + "</samp>\n") +
               (note.empty() ? "" : "<p class=\"note\">" + note + "</p>\n") + "</section>\n";
    }

 private:
    static std::string shown(const Drawing& image, const std::string& file, const std::string& alt) {
        return std::string("<img") + (image.alpha ? " class=\"see-through\"" : "") + " src=\"" +
               escaped(file) + "\" width=\"" + std::to_string(image.width) + "\" height=\"" +
               std::to_string(image.height) + "\" alt=\"" + escaped(alt) + "\" loading=\"lazy\">";
    }
    void save(const Drawing& image, const char* name) {
        Session session(host_, limits_);
        session.open(host_.newPicture(image.width, image.height, image.alpha, image.argb));
        if (!session.picture()) throw UsageError(std::string(name) + ": no picture of this size can be made");
        session.save(name);
    }
    void make(const std::string& call, const char* name) {
        Session session(host_, limits_);
        session.open(path("photo.png"));
        session.run(call);
        session.save(name);
    }

    Host& host_;
    const Limits limits_;
};

/// Throws UsageError when the page there is somebody else's.
void checkPage(const path& page) {
    if (!exists(page)) return;
    const auto bytes = fromFile([&] { return readFile(page); });
    const std::string text(bytes.begin(), bytes.end());
    if (text.find(mark) == text.npos) {
        throw UsageError(page.string() + " is another page and stays as it is; name another folder");
    }
}

}  // namespace

void makeGallery(Host& host, const Limits& limits, const path& folder, const path& photo) {
    Drawing image;
    {
        Session session(host, limits);
        session.open(photo);
        image = scaledDown(drawingOf(host, session.picture()));
    }
    std::error_code error;
    create_directories(folder, error);
    checkPage(folder / "index.html");
    if (!error) current_path(folder, error);
    if (error) throw UsageError(folder.string() + ": " + error.message());
    Studio studio(host, limits);
    studio.lay(image);
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n" +
                       std::string(mark) + pageBegins;
    int count = 0;
    for (const Words& words : allWords()) {
        if (words.calls.empty()) continue;
        page += studio.part(words);
        ++count;
    }
    write("index.html", page + "</main>\n</body>\n</html>\n");
    std::cout << count << " methods: " << (folder / "index.html").string() << '\n';
}

}  // namespace qkz
