#include "CubeFile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "PictureFiles.h"

namespace qkz {

std::array<double, 3> Cube::at(double red, double green, double blue) const {
    const std::array<double, 3> place{red, green, blue};
    std::array<std::size_t, 3> cell{};
    std::array<double, 3> fraction{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double inside = place[axis] > 0 ? std::min(place[axis], 1.0) : 0;  // also what is no number
        const double position = inside * static_cast<double>(size - 1);
        cell[axis] = std::min(static_cast<std::size_t>(position), size - 2);
        fraction[axis] = position - static_cast<double>(cell[axis]);
    }
    std::array<std::array<double, 3>, 8> corners;
    for (std::size_t corner = 0; corner < 8; ++corner) {
        std::size_t index = 0;
        for (std::size_t axis = 3; axis-- > 0;) index = index * size + cell[axis] + (corner >> axis & 1);
        corners[corner] = table[index];
    }
    // Each axis halves the number of corners. std::lerp never leaves the range between its ends.
    for (std::size_t axis = 3; axis-- > 0;) {
        for (std::size_t corner = 0, half = std::size_t{1} << axis; corner < half; ++corner) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                corners[corner][channel] =
                    std::lerp(corners[corner][channel], corners[corner + half][channel], fraction[axis]);
            }
        }
    }
    return corners[0];
}

Cube readCube(std::istream& lines) {
    const auto fail = [](const std::string& reason) { throw std::runtime_error(reason); };
    Cube cube;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word) || word.starts_with('#') || word == "TITLE") continue;
        if (word == "LUT_3D_SIZE") {
            if (!(words >> cube.size) || cube.size < 2 || cube.size > 256) fail("the size is not in 2..256");
        } else if (word == "DOMAIN_MIN" || word == "DOMAIN_MAX") {
            const double edge = word == "DOMAIN_MAX" ? 1 : 0;
            double r, g, b;
            if (!(words >> r >> g >> b) || r != edge || g != edge || b != edge) {
                fail("the domain is not 0 to 1");
            }
        } else if (std::isalpha(static_cast<unsigned char>(word.front()))) {
            fail("\"" + word + "\" is not understood");
        } else {
            std::istringstream numbers(line);
            std::array<double, 3> entry{};
            if (!(numbers >> entry[0] >> entry[1] >> entry[2])) fail("\"" + line + "\" is not three numbers");
            if (cube.table.size() >= cube.size * cube.size * cube.size) {
                fail(cube.size == 0 ? "an entry comes before LUT_3D_SIZE" : "there are too many entries");
            }
            cube.table.push_back(entry);
        }
    }
    if (cube.size == 0) fail("there is no LUT_3D_SIZE");
    if (cube.table.size() != cube.size * cube.size * cube.size) {
        fail("there are " + std::to_string(cube.table.size()) + " entries, not " +
             std::to_string(cube.size * cube.size * cube.size));
    }
    return cube;
}

Cube readCube(const std::filesystem::path& file) {
    const auto bytes = readFile(file);
    std::istringstream lines(std::string(bytes.begin(), bytes.end()));
    try {
        return readCube(lines);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(file.string() + ": " + error.what());
    }
}

void fillTable(qkzhost::Host& host, REALobjectStruct* instance, const Cube& cube) {
    // Its table has 18 places on each axis: colour values 17 apart, of which place 1 is 0, with one more
    // place beyond either end.
    constexpr int places = 18;
    const auto level = [](int place) { return std::clamp((place - 1) * 17, 0, 255) / 255.0; };
    for (int r = 0; r < places; ++r) {
        for (int g = 0; g < places; ++g) {
            for (int b = 0; b < places; ++b) {
                const auto color = cube.at(level(r), level(g), level(b));
                for (std::size_t x = 0; x < color.size(); ++x) {  // an entry holds red, green, blue
                    // The plug-in truncates what it finds between the entries: a half more, and it rounds.
                    host.assign("Table", {instance, r, g, b, x}, color[x] * 255 + 0.5);
                }
            }
        }
    }
}

}  // namespace qkz
