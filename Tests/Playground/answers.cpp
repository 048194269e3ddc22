// What the loaded library answers: qkz_answers PLUGIN FOLDER <CASES >ANSWERS
//
// A case is a line: a picture's name, a tab, calls with tabs between them. FOLDER/pictures tells the
// pictures, a line each: name, width, height, 1 with alpha; the file of that name holds its straight RGBA
// bytes. All other files there can be named in calls. Answers are told as in answers.mjs.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "Playground.h"

namespace {

using namespace qkzhost;
using qkzplayground::Image;
using std::filesystem::path;

std::vector<std::uint8_t> bytesOf(const path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error(file.string() + " cannot be read");
    return {std::istreambuf_iterator<char>(in), {}};
}

Image imageOf(const path& file, int width, int height, bool alpha) {
    const std::vector<std::uint8_t> rgba = bytesOf(file);
    Image image{width, height, alpha, {}};
    for (std::size_t i = 0; i + 3 < rgba.size(); i += 4) {
        image.argb.push_back(
            static_cast<std::uint32_t>(rgba[i + 3] << 24 | rgba[i] << 16 | rgba[i + 1] << 8 | rgba[i + 2]));
    }
    return image;
}

/// A number of 64 bits that hardly two contents share.
template <class Content>
std::string digest(const Content& values) {
    std::uint32_t a = 0x811C9DC5, b = 0x9747B28C;
    for (const auto value : values) {
        a = (a ^ static_cast<std::uint32_t>(value)) * 0x01000193;
        b = (b + static_cast<std::uint32_t>(value)) * 0x85EBCA6B;
        b ^= b >> 13;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%08x%08x", a, b);
    return text;
}

std::string told(Host& host, const qkzplayground::Answer& answer) {
    std::ostringstream text;
    for (const std::string& printed : answer.printed) text << '[' << printed << ']';
    if (!answer.error.empty()) text << " error: " << answer.error;
    if (answer.picture) {
        Surface& surface = host.objects.surface(answer.picture);
        std::vector<std::uint32_t> words;
        for (int y = 0; y < surface.height; ++y) {
            for (int x = 0; x < surface.width; ++x) {
                words.push_back(surface.word(x, y) | (surface.alpha ? 0 : 0xFF000000));
            }
        }
        text << ' ' << surface.width << 'x' << surface.height << (surface.alpha ? " alpha " : " opaque ")
             << digest(words);
    }
    if (answer.string) {
        const std::vector<std::uint8_t> bytes(answer.string->begin(), answer.string->end());
        text << ' ' << bytes.size() << " bytes " << digest(bytes);
    }
    std::string result = text.str();
    for (char& c : result)
        if (c == '\n') c = '|';
    return result;
}

int main(const path& plugin, const path& folder) {
    Host host;
    host.load(plugin);
    qkzplayground::Playground playground(host);
    std::ifstream pictures(folder / "pictures");
    std::string name;
    int width = 0, height = 0;
    bool alpha = false;
    std::map<std::string, bool> known{{"pictures", true}};
    while (pictures >> name >> width >> height >> alpha) {
        playground.addPicture(name, imageOf(folder / name, width, height, alpha));
        known[name] = true;
    }
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        name = file.path().filename().string();
        if (!known[name]) playground.addFile(name, bytesOf(file.path()));
    }
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream parts(line);
        std::getline(parts, name, '\t');
        std::vector<std::string> calls;
        for (std::string call; std::getline(parts, call, '\t');) calls.push_back(call);
        std::cout << told(host, playground.run(name, calls)) << '\n';
    }
    return std::cout.flush() ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) try {
    if (count == 3) return main(arguments[1], arguments[2]);
    std::cerr << "qkz_answers PLUGIN FOLDER <CASES >ANSWERS\n";
    return 2;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
