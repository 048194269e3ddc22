// The operations that tell something about a picture.
#include <opencv2/imgproc.hpp>

#include "Operation.h"

namespace qkzbench {
namespace {

using qkzhost::Color;
using qkzhost::OwnedBlock;
using qkzhost::OwnedPicture;
using enum Content;

/// How many pixels have each colour channel between the ends.
int countInRange(const cv::Mat& picture, int low, int high, cv::Mat& mask) {
    cv::inRange(picture, cv::Scalar(low, low, low, 0), cv::Scalar(high, high, high, 255), mask);
    return cv::countNonZero(mask);
}

Prepare peerAll(Content content, int value) {
    return peerTells([=, mask = cv::Mat()](Scene& s) mutable {
        return countInRange(s.mat(content), value, value, mask) == s.width * s.height;
    });
}

/// The peer's way to the largest difference between two channels of a pixel.
Prepare peerGray(int tolerance) {
    return peerTells(
        [=, planes = std::vector<cv::Mat>(), gap = cv::Mat(), widest = cv::Mat()](Scene& s) mutable {
            cv::split(s.mat(gray), planes);
            cv::absdiff(planes[0], planes[1], widest);
            for (const std::size_t other : {std::size_t{0}, std::size_t{1}}) {
                if (tolerance == 0 && other == 0) continue;  // two comparisons are enough
                cv::absdiff(planes[other], planes[2], gap);
                cv::max(widest, gap, widest);
            }
            double largest = 0;
            cv::minMaxLoc(widest, nullptr, &largest);
            return largest <= tolerance;
        });
}

Prepare peerColorness(int threshold) {
    return peerTells([=, planes = std::vector<cv::Mat>(), widest = cv::Mat(), gap = cv::Mat(),
                      brightest = cv::Mat()](Scene& s) mutable {
        cv::split(s.mat(photo), planes);
        cv::absdiff(planes[1], planes[2], widest);
        cv::absdiff(planes[1], planes[0], gap);
        cv::max(widest, gap, widest);
        cv::max(planes[0], planes[1], brightest);
        cv::max(brightest, planes[2], brightest);
        cv::compare(widest, threshold, widest, cv::CMP_GT);
        cv::compare(brightest, 29, brightest, cv::CMP_GT);
        cv::bitwise_and(widest, brightest, widest);
        return static_cast<double>(cv::countNonZero(widest)) / (s.width * s.height);
    });
}

using Block = REALmemoryBlockStruct*;

Prepare countsColors(Content content) {
    return [=](Scene& scene) -> Call {
        const auto count = find<void, Pic, Block*, Block*, Block*, RBInteger*>(scene.host, "CountColorsQKZ");
        if (!count) return {};
        std::vector<OwnedBlock> blocks;
        for (int i = 0; i < 3; ++i) {
            blocks.push_back(scene.host.objects.newMemoryBlock(std::vector<std::uint8_t>(1024)));
        }
        return [count, blocks, picture = scene.picture(content)] {
            Block red = blocks[0], second = blocks[1], third = blocks[2];
            RBInteger pixels = 0;
            count(picture, &red, &second, &third, &pixels);
            return outcome(pixels);
        };
    };
}

Prepare peerHistograms(Content content) {
    return peerTells([=, histogram = cv::Mat()](Scene& s) mutable {
        const cv::Mat picture = s.mat(content);
        const int bins = 256;
        const float ends[] = {0, 256};
        const float* range = ends;
        for (int channel = 0; channel < 3; ++channel)
            cv::calcHist(&picture, 1, &channel, cv::noArray(), histogram, 1, &bins, &range);
        return cv::sum(histogram)[0];
    });
}

/// A 64 x 64 piece of the picture, sought in it; or one of a single colour but for its last pixel.
Prepare finds(Content content, int tolerance) {
    return [=](Scene& scene) -> Call {
        const auto function =
            find<RBBoolean, Pic, Pic, RBInteger*, RBInteger*, RBInteger, RBInteger, RBInteger>(
                scene.host, "FindPictureQKZ");
        if (!function) return {};
        const int size = Scene::pieceSize;
        const OwnedPicture piece = scene.host.newPicture(size, size);
        scene.mat(content)(cv::Rect(scene.piecePlace(), cv::Size(size, size))).copyTo(scene.mat(piece));
        return [&scene, function, piece, picture = scene.picture(content), tolerance] {
            RBInteger x = 0, y = 0;
            const bool found = function(picture, piece, &x, &y, 0, 0, tolerance) != 0;
            return outcome(found ? y * scene.width + x : RBInteger{-1});
        };
    };
}

/// Every place of a 16 x 16 icon, which is drawn on the photo every 40 pixels: each search starts behind the
/// last place found.
Prepare findsAll() {
    return [](Scene& scene) -> Call {
        const auto function =
            find<RBBoolean, Pic, Pic, RBInteger*, RBInteger*, RBInteger, RBInteger, RBInteger>(
                scene.host, "FindPictureQKZ");
        if (!function) return {};
        const int size = 16, apart = 40;
        const OwnedPicture picture = scene.copy(photo), icon = scene.host.newPicture(size, size);
        const cv::Mat drawn = scene.mat(icon);
        scene.mat(noise)(cv::Rect(0, 0, size, size)).copyTo(drawn);
        for (int y = 0; y + size <= scene.height; y += apart) {
            for (int x = 0; x + size <= scene.width; x += apart) {
                drawn.copyTo(scene.mat(picture)(cv::Rect(x, y, size, size)));
            }
        }
        return [function, picture, icon] {
            RBInteger x = 0, y = 0, found = 0;
            for (RBInteger startX = 0; function(picture, icon, &x, &y, startX, y, 3) != 0; startX = x + 1)
                ++found;
            return outcome(found);
        };
    };
}

/// The peer works on three-channel pictures that were made before.
Prepare peerFinds(Content content) {
    return peerTells([=, picture = cv::Mat(), piece = cv::Mat(), distances = cv::Mat()](Scene& s) mutable {
        if (picture.empty()) {
            const cv::Size size(Scene::pieceSize, Scene::pieceSize);
            cv::cvtColor(s.mat(content), picture, cv::COLOR_BGRA2BGR);
            piece = picture(cv::Rect(s.piecePlace(), size)).clone();
        }
        cv::matchTemplate(picture, piece, distances, cv::TM_SQDIFF);
        cv::Point best;
        cv::minMaxLoc(distances, nullptr, nullptr, &best, nullptr);
        return best.y * s.width + best.x;
    });
}

}  // namespace

std::vector<Operation> lookingAtPictures() {
    using enum Against;
    const auto refusal = [](const char* name, Prepare ours) {
        return Operation{name, std::move(ours), microsecond, 3};
    };
    const auto search = [](const std::string& where, Content content, int tolerance,
                           const std::string& peerOf) {
        Operation row{"FindPictureQKZ, " + where + ", tolerance " + std::to_string(tolerance),
                      finds(content, tolerance),
                      Unit(sum, content),
                      Limit(9, 4),
                      "matchTemplate",
                      30};
        row.sizes = Sizes::large;
        row.slowPeer = true;
        row.peerOf = peerOf;
        row.peer = peerFinds(content);
        // A near match just above the best one, which the peer gives, comes first.
        if (tolerance > 3 && content == enlarged) row.tolerance = 2 * 1920 + 2;
        return row;
    };
    const std::string searches = "FindPictureQKZ, ";
    return {
        {"isGrayQKZ", method<RBBoolean>("isGrayQKZ", gray, 0), Unit(sum, gray), Limit(1.5, onePass),
         "absdiff + minMaxLoc", notSlower, peerGray(0)},
        {"isGrayQKZ, tolerance 5", method<RBBoolean>("isGrayQKZ", gray, 5), Unit(sum, gray),
         Limit(2.5, onePass), "absdiff + minMaxLoc", notSlower, peerGray(5)},
        {"isWhiteQKZ", method<RBBoolean>("isWhiteQKZ", white), Unit(sum, white), Limit(1.5, onePass),
         "inRange + countNonZero", notSlower, peerAll(white, 255)},
        {"isBlackQKZ", method<RBBoolean>("isBlackQKZ", black), Unit(sum, black), Limit(1.5, onePass),
         "inRange + countNonZero", notSlower, peerAll(black, 0)},
        {"ColornessQKZ", method<double>("ColornessQKZ", photo, 10), sum, Limit(3, onePass),
         "compare + countNonZero", notSlower, peerColorness(10), 1e-9},
        {"CountColorQKZ", method<RBInteger>("CountColorQKZ", gray, Color{0x808080}), Unit(sum, gray),
         Limit(1.5, onePass), "inRange + countNonZero", notSlower,
         peerTells(
             [mask = cv::Mat()](Scene& s) mutable { return countInRange(s.mat(gray), 128, 128, mask); })},
        refusal("isGrayQKZ, false at once", method<RBBoolean>("isGrayQKZ", flat, 0)),
        refusal("isWhiteQKZ, false at once", method<RBBoolean>("isWhiteQKZ", flat)),
        refusal("isBlackQKZ, false at once", method<RBBoolean>("isBlackQKZ", flat)),
        {"CountColorsQKZ, noise", countsColors(noise), Unit(sum, noise), Limit(16, 5), "calcHist", notSlower,
         peerHistograms(noise)},
        {"CountColorsQKZ, one colour", countsColors(flat), Unit(sum, flat), Limit(16, 5), "calcHist",
         notSlower, peerHistograms(flat)},
        search("enlarged photo", enlarged, 1, ""),
        search("enlarged photo", enlarged, 3, searches + "enlarged photo, tolerance 1"),
        search("enlarged photo", enlarged, 40, searches + "enlarged photo, tolerance 1"),
        search("noise", noise, 1, ""),
        search("noise", noise, 3, searches + "noise, tolerance 1"),
        search("noise", noise, 40, searches + "noise, tolerance 1"),
        search("one colour and the piece", flatWithPiece, 1, ""),
        search("one colour and the piece", flatWithPiece, 3,
               searches + "one colour and the piece, tolerance 1"),
        search("one colour and the piece", flatWithPiece, 40,
               searches + "one colour and the piece, tolerance 1"),
        {"FindPictureQKZ, every icon", findsAll(), sum, Limit(12, 8)},
        search("one colour but the last pixel", flatWithDot, 1, ""),
        search("one colour but the last pixel", flatWithDot, 40,
               searches + "one colour but the last pixel, tolerance 1"),
    };
}

}  // namespace qkzbench
