#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "Report.h"

namespace qkzbench {
namespace {

constexpr double left = 190, barWidth = 430, rowHeight = 34, barHeight = 11, top = 64;
constexpr double mostUnits = 14;  // longer bars are cut

std::string shortNumber(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(value < 9.95 ? 1 : 0) << value;
    return text.str();
}

void drawBar(std::ostream& svg, const char* style, double y, double value) {
    const double length = std::min(value, mostUnits) / mostUnits * barWidth;
    svg << "<rect class=\"" << style << "\" x=\"" << left << "\" y=\"" << y << "\" width=\"" << length
        << "\" height=\"" << barHeight << "\" rx=\"2\"/><text class=\"value\" x=\"" << left + length + 5
        << "\" y=\"" << y + barHeight - 1.5 << "\">" << shortNumber(value) << "</text>\n";
}

}  // namespace

void drawChart(std::ostream& svg, const std::vector<Row>& rows, const Times& times) {
    const char* const shown[] = {"InvertQKZ",          "ThresholdQKZ",        "ReplaceColorQKZ",
                                 "CombinePicturesQKZ", "MergePictureQKZ",     "ChangeContrastQKZ (1)",
                                 "TransformColorsQKZ", "ChangeSaturationQKZ", "TintPictureQKZ",
                                 "PictureSepiaQKZ.Run"};
    const Size size = *std::ranges::find_if(sizes, limitsCount);
    std::ostringstream bars;
    double y = top;
    for (const char* name : shown) {
        const auto row =
            std::find_if(rows.begin(), rows.end(), [&](const Row& r) { return r.operation.name == name; });
        if (row == rows.end()) continue;
        const Measured at = measured(row->operation, times, size);
        bars << "<text x=\"" << left - 8 << "\" y=\"" << y + barHeight + 4 << "\" text-anchor=\"end\">"
             << std::string(name).substr(0, std::string_view(name).find_first_of(" .")) << "</text>\n";
        drawBar(bars, "ours", y, at.timesUnit);
        drawBar(bars, "peer", y + barHeight + 1, at.timesUnit * at.timesOurs);
        y += rowHeight;
    }
    const double floor = left + barWidth / mostUnits;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 680 " << y + 8
        << "\" role=\"img\" aria-label=\"Time of operations beside OpenCV's, against the floor of memory\">\n"
        << "<style>text{font:13px "
           "sans-serif;fill:#24292f}.value{font-size:11px}.ours{fill:#1a7f5a}.peer{fill:#a9b4c0}"
        << ".floor{stroke:#c4432b;stroke-width:1.5;stroke-dasharray:4 3}"
        << "@media(prefers-color-scheme:dark){text{fill:#e6edf3}.ours{fill:#3fb98a}.peer{fill:#6b7684}"
        << ".floor{stroke:#ff8a70}}</style>\n"
        << "<text x=\"" << left << "\" y=\"18\">" << nameOf(size)
        << ", times what memory needs: less is faster</text>\n"
        << "<rect class=\"ours\" x=\"" << left
        << "\" y=\"28\" width=\"11\" height=\"11\" rx=\"2\"/><text x=\"" << left + 17
        << "\" y=\"38\">PictureQKZ</text><rect class=\"peer\" x=\"" << left + 110
        << "\" y=\"28\" width=\"11\" height=\"11\" rx=\"2\"/><text x=\"" << left + 127
        << "\" y=\"38\">OpenCV</text><text x=\"" << left + 220 << "\" y=\"38\">- - the floor</text>\n"
        << bars.str() << "<line class=\"floor\" x1=\"" << floor << "\" y1=\"" << top - 8 << "\" x2=\""
        << floor << "\" y2=\"" << y - 6 << "\"/>\n</svg>\n";
}

}  // namespace qkzbench
