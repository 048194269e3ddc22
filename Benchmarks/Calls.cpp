#include "Calls.h"

#include <cmath>
#include <limits>

namespace qkzbench {

double difference(Scene& scene, const Outcome& a, const Outcome& b) {
    constexpr double incomparable = std::numeric_limits<double>::infinity();
    if (a.index() != b.index()) return incomparable;
    if (const double* number = std::get_if<double>(&a)) return std::abs(*number - std::get<double>(b));
    if (const auto* string = std::get_if<qkzhost::OwnedString>(&a)) {
        const auto& other = std::get<qkzhost::OwnedString>(b);
        return scene.host.objects.text(*string) == scene.host.objects.text(other) ? 0 : incomparable;
    }
    const Pic pictureA = std::get<1>(a), pictureB = std::get<1>(b);
    if (!pictureA || !pictureB) return incomparable;
    const cv::Mat matA = scene.mat(pictureA), matB = scene.mat(pictureB);
    if (matA.size() != matB.size()) return incomparable;
    int largest = 0;
    for (int y = 0; y < matA.rows; ++y)
        for (int x = 0; x < matA.cols; ++x)
            for (int c = 0; c < 3; ++c)
                largest =
                    std::max(largest, std::abs(matA.at<cv::Vec4b>(y, x)[c] - matB.at<cv::Vec4b>(y, x)[c]));
    return largest;
}

}  // namespace qkzbench
