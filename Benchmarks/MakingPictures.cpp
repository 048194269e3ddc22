// The operations that make or change a picture.
#include <opencv2/imgproc.hpp>

#include "Operation.h"

namespace qkzbench {
namespace {

using qkzhost::Color;
using qkzhost::OwnedBlock;
using qkzhost::OwnedObject;
using qkzhost::OwnedString;
using enum Content;

constexpr Color red{0xFF0000}, blue{0x0000C8}, paper{0xF0E6D2};

cv::Scalar scalar(Color color, int fourth) {
    return {static_cast<double>(color.word & 0xFF), static_cast<double>(color.word >> 8 & 0xFF),
            static_cast<double>(color.word >> 16 & 0xFF), static_cast<double>(fourth)};
}

/// An instance's "Run" on the photo: its new destination picture, which it then no longer holds.
Prepare runs(const char* className, std::function<void(qkzhost::Host&, REALobjectStruct*)> prepare) {
    return [=](Scene& scene) -> Call {
        qkzhost::Host& host = scene.host;
        const auto run = find<RBBoolean, REALobjectStruct*>(host, "Run", className);
        if (!run) return {};
        const OwnedObject instance = host.newInstance(className);
        host.setProperty(instance, "SourcePicture", scene.picture(photo));
        prepare(host, instance);
        return [&scene, run, instance]() -> Outcome {
            if (!run(instance)) return 0.0;
            const auto made = scene.host.property(instance, "DestinationPicture");
            scene.host.setProperty(instance, "DestinationPicture", nullptr);
            return made ? outcome(made->picture()) : 0.0;
        };
    };
}

void fillTable(qkzhost::Host& host, REALobjectStruct* instance) {
    using N = std::uint32_t;
    const auto set =
        find<void, REALobjectStruct*, N, N, N, N, double>(host, "Table", "PictureLut3DQKZ", true);
    if (!set) throw std::runtime_error("PictureLut3DQKZ has no table");
    const N points = 18;
    for (N r = 0; r < points; ++r)
        for (N g = 0; g < points; ++g)
            for (N b = 0; b < points; ++b)
                for (N x = 0; x < 3; ++x)
                    set(instance, r, g, b, x, 255 - 5.0 * (x == 0 ? b : x == 1 ? g : r) - g);
}

Prepare transformed() {
    return [](Scene& scene) -> Call {
        using Block = REALmemoryBlockStruct*;
        const auto transform = find<Pic, Pic, Block, Block, Block, Pic>(scene.host, "TransformColorsQKZ");
        if (!transform) return {};
        std::vector<std::uint8_t> table(256);
        for (std::size_t i = 0; i < 256; ++i) table[i] = static_cast<std::uint8_t>(255 - i);
        const OwnedBlock block = scene.host.objects.newMemoryBlock(table);
        return [transform, block, source = scene.picture(photo)] {
            return outcome(transform(source, block, block, block, nullptr));
        };
    };
}

/// One table for the three colours; the fourth byte stays.
template <class Formula>
Prepare lookedUp(Formula formula) {
    cv::Mat table(1, 256, CV_8UC4);
    for (int i = 0; i < 256; ++i) {
        const auto value = cv::saturate_cast<uchar>(static_cast<int>(formula(i)));
        table.at<cv::Vec4b>(i) = cv::Vec4b(value, value, value, static_cast<uchar>(i));
    }
    return peerMakes([=](Scene& scene, cv::Mat to) { cv::LUT(scene.mat(photo), table, to); });
}

/// Weights of blue, green, red and the fourth byte, and a constant, for each of the first three results.
Prepare multiplied(const cv::Matx<float, 3, 5>& weights) {
    cv::Mat matrix = cv::Mat::zeros(4, 5, CV_32F);
    cv::Mat(weights).copyTo(matrix.rowRange(0, 3));
    matrix.at<float>(3, 3) = 1;
    if (cv::countNonZero(matrix.col(4)) == 0) matrix = matrix.colRange(0, 4).clone();
    return peerMakes([=](Scene& scene, cv::Mat to) { cv::transform(scene.mat(photo), to, matrix); });
}

Prepare saturated(float k) {
    const float gray = (1 - k) / 4;
    return multiplied({k + gray, 2 * gray, gray, 0, 0,  //
                       gray, k + 2 * gray, gray, 0, 0,  //
                       gray, 2 * gray, k + gray, 0, 0});
}

Prepare tinted(Color grayBase, Color sepiaBase) {
    const cv::Scalar from = scalar(grayBase, 0) / 255, to = scalar(sepiaBase, 0) / 255;
    cv::Matx<float, 3, 5> weights = cv::Matx<float, 3, 5>::zeros();
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            weights(row, column) = static_cast<float>(to[row] * from[column]);
    return multiplied(weights);
}

/// Copies channels, given as pairs of from (counted on through the sources) and to.
Prepare mixed(std::vector<Content> sources, std::vector<int> pairs) {
    return peerMakes([=](Scene& scene, cv::Mat to) {
        std::vector<cv::Mat> from;
        for (const Content source : sources) from.push_back(scene.mat(source));
        cv::mixChannels(from.data(), from.size(), &to, 1, pairs.data(), pairs.size() / 2);
    });
}

/// The peer's scrolling: the parts are copied to their new places in a buffer, and the buffer back. Rolled
/// around, or white where nothing comes to lie.
Prepare rolled(int dx, int dy, bool wrap) {
    return peerChanges([=, buffer = cv::Mat()](Scene&, cv::Mat picture) mutable {
        buffer.create(picture.size(), picture.type());
        const int w = picture.cols, h = picture.rows;
        const int x = (dx % w + w) % w, y = (dy % h + h) % h;  // where column 0 and row 0 go
        const cv::Range columns[2][2] = {{{0, w - x}, {x, w}}, {{w - x, w}, {0, x}}};  // from, to
        const cv::Range rows[2][2] = {{{0, h - y}, {y, h}}, {{h - y, h}, {0, y}}};
        for (int i = 0; i < 2; ++i)
            for (int j = 0; j < 2; ++j) {
                cv::Mat to = buffer(rows[i][1], columns[j][1]);
                // Going right or down, the second part comes around; going left or up, the first.
                const bool around =
                    (dx > 0 && j == 1) || (dx < 0 && j == 0) || (dy > 0 && i == 1) || (dy < 0 && i == 0);
                if (to.empty()) continue;
                if (wrap || !around)
                    picture(rows[i][0], columns[j][0]).copyTo(to);
                else
                    to.setTo(cv::Scalar::all(255));
            }
        buffer.copyTo(picture);
    });
}

/// The plug-in's unwrapped move to the right: by twice the distance, and only half of the gap is white.
Prepare movedRight(int dx) {
    return peerChanges([=, buffer = cv::Mat()](Scene&, cv::Mat picture) mutable {
        buffer.create(picture.size(), picture.type());
        const int w = picture.cols;
        picture.colRange(0, w - 2 * dx).copyTo(buffer.colRange(2 * dx, w));
        picture.colRange(dx, 2 * dx).copyTo(buffer.colRange(dx, 2 * dx));
        buffer.colRange(0, dx).setTo(cv::Scalar::all(255));
        buffer.copyTo(picture);
    });
}

constexpr int packedHeader = 40;

/// A photo as the packed string of the plug-in's writer.
std::string packed(Scene& scene) {
    std::string bytes(
        packedHeader + static_cast<std::size_t>(scene.width) * static_cast<std::size_t>(scene.height) * 3,
        '\0');
    const auto put = [&](std::size_t offset, std::size_t value) {
        for (std::size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<char>(value >> (24 - 8 * i));
    };
    bytes.replace(0, 4, "PPIC");
    put(4, bytes.size());
    put(8, static_cast<std::size_t>(scene.width));
    put(12, static_cast<std::size_t>(scene.height));
    put(16, 32);
    put(20, packedHeader);
    cv::cvtColor(scene.mat(photo), cv::Mat(scene.height, scene.width, CV_8UC3, bytes.data() + packedHeader),
                 cv::COLOR_BGRA2RGB);
    return bytes;
}

Prepare unpacked() {
    return [](Scene& scene) -> Call {
        const auto read = find<Pic, REALstringStruct*>(scene.host, "BinaryStringtoPictureQKZ");
        if (!read) return {};
        const OwnedString data = scene.host.objects.newString(packed(scene), REALencodingUnknown);
        return [read, data] { return outcome(read(data)); };
    };
}

Prepare peerUnpacked() {
    return [](Scene& scene) -> Call {
        return [&scene, bytes = packed(scene)]() mutable {
            auto picture = scene.newPicture();
            cv::cvtColor(cv::Mat(scene.height, scene.width, CV_8UC3, bytes.data() + packedHeader),
                         scene.mat(picture), cv::COLOR_RGB2BGRA);
            return Outcome(std::move(picture));
        };
    };
}

Prepare peerPacked() {
    return [](Scene& scene) -> Call {
        return [&scene, bytes = packed(scene)]() mutable {
            cv::cvtColor(scene.mat(photo),
                         cv::Mat(scene.height, scene.width, CV_8UC3, bytes.data() + packedHeader),
                         cv::COLOR_BGRA2RGB);
            return outcome(scene.host.objects.newString(bytes, REALencodingUnknown));
        };
    };
}

}  // namespace

Vectors vectors() {
    const std::string_view held = QKZ_HIGHEST_LEVEL;
    const bool avx2 = held != "baseline" && __builtin_cpu_supports("avx2") &&
                      __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma");
    const bool avx512 = avx2 && held == "avx512" && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    if (!avx512) return avx2 ? Vectors::avx2 : Vectors::sse2;
    return __builtin_cpu_supports("avx512vbmi") ? Vectors::avx512vbmi : Vectors::avx512;
}

std::vector<Operation> makingPictures() {
    using enum Against;
    const int step = 23;  // of scrolling
    const bool wide = vectors() >= Vectors::avx512;
    // Nearly a copy where the processor shuffles bytes across a whole table.
    const bool shuffles = vectors() == Vectors::avx512vbmi;
    const Limit tables{shuffles ? 1.8 : 4, onePass};
    const double lead = shuffles ? 3 : 2;
    const auto tableRow = [&](const char* name, Prepare ours) {
        return Operation{name, std::move(ours), copy, tables, "LUT", lead, {}, 0, "ChangeContrastQKZ (1)"};
    };
    const auto scrollRow = [](const char* name, Prepare ours, Prepare peer) {
        return Operation{name, std::move(ours), copy, 2, "copyTo through a buffer", 0, std::move(peer)};
    };
    const auto rectangleRow = [](const char* name, Content content) {
        return Operation{name, method<Pic>("ExtractColorRectangleMaskQKZ", content), Unit(copy, content), 12};
    };
    return {
        {"InvertQKZ", method<Pic>("InvertQKZ", photo), one, onePass, "bitwise_not", notSlower,
         peerMakes([](Scene& s, cv::Mat to) { cv::bitwise_not(s.mat(photo), to); })},
        {"InvertGrayQKZ", method<Pic>("InvertGrayQKZ", photo), one, onePass},
        {"InvertQKZ, with alpha", method<Pic>("InvertQKZ", translucent), Unit(one, translucent),
         Limit(3, onePass)},
        {"ThresholdQKZ", method<Pic>("ThresholdQKZ", gray, 128), Unit(one, gray), onePass, "threshold",
         notSlower, peerMakes([](Scene& s, cv::Mat to) {
             cv::threshold(s.mat(gray), to, 127, 255, cv::THRESH_BINARY);
         })},
        {"ReplaceColorQKZ", method<Pic>("ReplaceColorQKZ", frames, red, blue), Unit(one, frames), onePass,
         "inRange + setTo", notSlower, peerMakes([mask = cv::Mat()](Scene& s, cv::Mat to) mutable {
             const cv::Mat from = s.mat(frames);
             cv::inRange(from, scalar(red, 0), scalar(red, 255), mask);
             from.copyTo(to);
             to.setTo(scalar(blue, 255), mask);
         })},
        {"ExtractColorQKZ", method<Pic>("ExtractColorQKZ", frames, red, blue, paper), Unit(one, frames),
         onePass, "inRange + setTo", notSlower, peerMakes([mask = cv::Mat()](Scene& s, cv::Mat to) mutable {
             cv::inRange(s.mat(frames), scalar(red, 0), scalar(red, 255), mask);
             to.setTo(scalar(paper, 255));
             to.setTo(scalar(blue, 255), mask);
         })},
        {"EmbeddedMaskQKZ", method<Pic>("EmbeddedMaskQKZ", translucent, false), Unit(one, translucent),
         onePass, "extractChannel + cvtColor", notSlower,
         peerMakes([alpha = cv::Mat()](Scene& s, cv::Mat to) mutable {
             cv::extractChannel(s.mat(translucent), alpha, 3);
             cv::cvtColor(alpha, to, cv::COLOR_GRAY2BGRA);
         })},
        {"EmbeddedMaskQKZ = mask", inPlace<void>("EmbeddedMaskQKZ", true, false, other), copy, 1.4,
         "mixChannels", notSlower, peerChanges([](Scene& s, cv::Mat picture) {
             const cv::Mat mask = s.mat(other);
             cv::mixChannels(&mask, 1, &picture, 1, std::array{2, 0}.data(), 1);
         })},
        {"ReplaceRedChannelQKZ", method<Pic>("ReplaceRedChannelQKZ", photo, other), two, onePass,
         "mixChannels", notSlower, mixed({photo, other}, {0, 0, 1, 1, 6, 2, 3, 3})},
        {"ReplaceGreenChannelQKZ", method<Pic>("ReplaceGreenChannelQKZ", photo, other), two, onePass,
         "mixChannels", notSlower, mixed({photo, other}, {0, 0, 5, 1, 2, 2, 3, 3})},
        {"ReplaceBlueChannelQKZ", method<Pic>("ReplaceBlueChannelQKZ", photo, other), two, onePass,
         "mixChannels", notSlower, mixed({photo, other}, {4, 0, 1, 1, 2, 2, 3, 3})},
        {"CombinePicturesQKZ", method<Pic>("CombinePicturesQKZ", photo, other, third), three, onePass,
         "mixChannels", notSlower, mixed({photo, other, third}, {4, 0, 9, 1, 2, 2, 3, 3})},
        {"MergePictureQKZ", method<Pic>("MergePictureQKZ", photo, other), two, onePass, "max", notSlower,
         peerMakes([](Scene& s, cv::Mat to) { cv::max(s.mat(photo), s.mat(other), to); })},
        {"ChangeContrastQKZ (1)", method<Pic>("ChangeContrastQKZ", photo, 0.4), copy, tables, "LUT", lead,
         lookedUp([](int c) { return (c - 127) * 1.4 + 127; })},
        tableRow("ChangeContrastQKZ (3)", method<Pic>("ChangeContrastQKZ", photo, 0.4, 0.2, -0.3)),
        tableRow("ChangeBrightnessAbsoluteQKZ (1)", method<Pic>("ChangeBrightnessAbsoluteQKZ", photo, 30.0)),
        tableRow("ChangeBrightnessAbsoluteQKZ (3)",
                 method<Pic>("ChangeBrightnessAbsoluteQKZ", photo, 30.0, -20.0, 10.0)),
        tableRow("ChangeBrightnessLinearQKZ (1)", method<Pic>("ChangeBrightnessLinearQKZ", photo, 0.3)),
        tableRow("ChangeBrightnessLinearQKZ (3)",
                 method<Pic>("ChangeBrightnessLinearQKZ", photo, 0.3, -0.2, 0.1)),
        tableRow("ChangeContrastBrightnessAbsoluteQKZ (1)",
                 method<Pic>("ChangeContrastBrightnessAbsoluteQKZ", photo, 0.4, 30.0)),
        tableRow(
            "ChangeContrastBrightnessAbsoluteQKZ (3)",
            method<Pic>("ChangeContrastBrightnessAbsoluteQKZ", photo, 0.4, 0.2, -0.3, 30.0, -20.0, 10.0)),
        tableRow("ChangeContrastBrightnessLinearQKZ (1)",
                 method<Pic>("ChangeContrastBrightnessLinearQKZ", photo, 0.4, 0.3)),
        tableRow("ChangeContrastBrightnessLinearQKZ (3)",
                 method<Pic>("ChangeContrastBrightnessLinearQKZ", photo, 0.4, 0.2, -0.3, 0.3, -0.2, 0.1)),
        tableRow("ChangeCustomQKZ (1)", method<Pic>("ChangeCustomQKZ", photo, 0.9, 12.0)),
        tableRow("ChangeCustomQKZ (3)",
                 method<Pic>("ChangeCustomQKZ", photo, 0.9, 12.0, 1.1, -5.0, 1.0, 3.0)),
        {"TransformColorsQKZ", transformed(), copy, tables, "LUT", lead,
         lookedUp([](int c) { return 255 - c; })},
        {"ChangeSaturationQKZ", method<Pic>("ChangeSaturationQKZ", photo, 100), copy,
         Limit(wide ? 2.2 : 4, 1.5), "transform", wide ? 4.0 : 3.0, saturated(355.0f / 255), 2},
        {"TintPictureQKZ", method<Pic>("TintPictureQKZ", photo, Color{0x4C961D}, paper), copy,
         Limit(wide ? 2.5 : 6, 2), "transform", 3, tinted(Color{0x4C961D}, paper), 1},
        {"PictureSepiaQKZ.Run",
         runs("PictureSepiaQKZ",
              [](qkzhost::Host& host, REALobjectStruct* sepia) {
                  host.setProperty(sepia, "SepiaRed", 40);
                  host.setProperty(sepia, "SepiaGreen", 20);
              }),
         copy, Limit(2.5, onePass), "transform", wide ? 4.0 : 3.0,
         multiplied({0.114f, 0.587f, 0.299f, 0, 0,   //
                     0.114f, 0.587f, 0.299f, 0, 20,  //
                     0.114f, 0.587f, 0.299f, 0, 40}),
         2},
        {"PictureLut3DQKZ.Run", runs("PictureLut3DQKZ", fillTable), copy, Limit(wide ? 20 : 40, 10)},
        rectangleRow("ExtractColorRectangleMaskQKZ, noise", noise),
        rectangleRow("ExtractColorRectangleMaskQKZ, colour everywhere", flat),
        rectangleRow("ExtractColorRectangleMaskQKZ, diagonal stairs", diagonalStairs),
        rectangleRow("ExtractColorRectangleMaskQKZ, checkerboard", checkerboard),
        rectangleRow("ExtractColorRectangleMaskQKZ, concentric frames", frames),
        scrollRow("ScrollVerticalQKZ, around, down",
                  inPlace<RBBoolean>("ScrollVerticalQKZ", false, step, true, false), rolled(0, step, true)),
        scrollRow("ScrollVerticalQKZ, around, up",
                  inPlace<RBBoolean>("ScrollVerticalQKZ", false, -step, true, false), rolled(0, -step, true)),
        scrollRow("ScrollVerticalQKZ, down",
                  inPlace<RBBoolean>("ScrollVerticalQKZ", false, step, false, false), rolled(0, step, false)),
        scrollRow("ScrollVerticalQKZ, up",
                  inPlace<RBBoolean>("ScrollVerticalQKZ", false, -step, false, false),
                  rolled(0, -step, false)),
        scrollRow("ScrollHorizontalQKZ, around, right",
                  inPlace<RBBoolean>("ScrollHorizontalQKZ", false, step, true, false), rolled(step, 0, true)),
        scrollRow("ScrollHorizontalQKZ, around, left",
                  inPlace<RBBoolean>("ScrollHorizontalQKZ", false, -step, true, false),
                  rolled(-step, 0, true)),
        scrollRow("ScrollHorizontalQKZ, right",
                  inPlace<RBBoolean>("ScrollHorizontalQKZ", false, step, false, false), movedRight(step)),
        scrollRow("ScrollHorizontalQKZ, left",
                  inPlace<RBBoolean>("ScrollHorizontalQKZ", false, -step, false, false),
                  rolled(-step, 0, false)),
        scrollRow("ScrollQKZ, around", inPlace<RBBoolean>("ScrollQKZ", false, step, step, true, false),
                  rolled(step, step, true)),
        {"BinaryStringtoPictureQKZ", unpacked(), copy, 1.5, "cvtColor", 0.9, peerUnpacked()},
        {"PicturetoBinaryStringQKZ", method<REALstringStruct*>("PicturetoBinaryStringQKZ", photo), copy, 2,
         "cvtColor + string", 0.9, peerPacked()},
    };
}

}  // namespace qkzbench
