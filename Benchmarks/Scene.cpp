#include "Scene.h"

#include <opencv2/imgproc.hpp>
#include <stdexcept>

namespace qkzbench {
namespace {

constexpr std::uint64_t seedOf(Content content) {
    return 0x9E3779B97F4A7C15u + static_cast<unsigned>(content);
}

cv::Mat noise(cv::Size size, cv::RNG& random) {
    cv::Mat result(size, CV_8UC4);
    random.fill(result, cv::RNG::UNIFORM, 0, 256);
    return result;
}

/// Large soft areas, detail on them, and a little noise.
cv::Mat photo(cv::Size size, std::uint64_t seed) {
    cv::RNG random(seed);
    cv::Mat areas, detail, result;
    cv::resize(noise({16, 9}, random), areas, size, 0, 0, cv::INTER_CUBIC);
    cv::resize(noise({120, 68}, random), detail, size, 0, 0, cv::INTER_LINEAR);
    cv::addWeighted(areas, 0.75, detail, 0.2, 0, result);
    cv::addWeighted(result, 1, noise(size, random), 0.05, 0, result);
    return result;
}

const cv::Scalar skyBlue(235, 206, 135, 255), middleGray(128, 128, 128, 255), red(0, 0, 255, 255);

}  // namespace

qkzhost::OwnedPicture Scene::newPicture(bool alpha) const { return host.newPicture(width, height, alpha); }

cv::Mat Scene::mat(Pic picture) const {
    qkzhost::Surface& pixels = host.objects.surface(picture);
    return {pixels.height, pixels.width, CV_8UC4, pixels.row(0), static_cast<std::size_t>(pixels.rowBytes())};
}

Pic Scene::picture(Content content) {
    const auto found = pictures_.find(content);
    if (found != pictures_.end()) return found->second;
    auto made = newPicture(content == Content::translucent);
    if (!made) throw std::runtime_error("no picture can be made");
    paint(content, mat(made));
    return pictures_.emplace(content, std::move(made)).first->second;
}

qkzhost::OwnedPicture Scene::copy(Content content) {
    auto result = newPicture(content == Content::translucent);
    mat(content).copyTo(mat(result));
    return result;
}

void Scene::paint(Content content, cv::Mat picture) {
    const cv::Rect piece(piecePlace(), cv::Size(pieceSize, pieceSize));
    const std::uint64_t seed = seedOf(content);
    switch (content) {
        case Content::photo:
        case Content::other:
        case Content::third:
            photo(picture.size(), seed).copyTo(picture);
            break;
        case Content::translucent: {
            photo(picture.size(), seed).copyTo(picture);
            for (int y = 0; y < picture.rows; ++y)
                for (int x = 0; x < picture.cols; ++x) {
                    auto& pixel = picture.at<cv::Vec4b>(y, x);
                    for (int c = 0; c < 3; ++c) pixel[c] = static_cast<uchar>(pixel[c] * pixel[3] / 255);
                }
            return;
        }
        case Content::gray: {
            cv::Mat levels;
            cv::extractChannel(photo(picture.size(), seed), levels, 1);
            cv::cvtColor(levels, picture, cv::COLOR_GRAY2BGRA);
            break;
        }
        case Content::white:
            picture.setTo(cv::Scalar::all(255));
            break;
        case Content::black:
            picture.setTo(cv::Scalar::all(0));
            break;
        case Content::flat:
            picture.setTo(skyBlue);
            break;
        case Content::noise: {
            cv::RNG random(seed);
            noise(picture.size(), random).copyTo(picture);
            break;
        }
        case Content::enlarged: {
            cv::Mat small = photo({480, 270}, seed);
            // Something that is nowhere else, where the piece is taken from.
            const double scale = static_cast<double>(small.cols) / picture.cols;
            const cv::Rect mark(cv::Point2d(piece.x, piece.y) * scale, cv::Size2d(piece.size()) * scale);
            cv::RNG random(seed);
            noise(mark.size(), random).copyTo(small(mark));
            cv::resize(small, picture, picture.size(), 0, 0, cv::INTER_CUBIC);
            break;
        }
        case Content::flatWithPiece:
            picture.setTo(skyBlue);
            photo({pieceSize, pieceSize}, seed).copyTo(picture(piece));
            break;
        case Content::flatWithDot:
            picture.setTo(skyBlue);
            picture(piece)(cv::Rect(pieceSize - 1, pieceSize - 1, 1, 1)).setTo(red);
            break;
        case Content::diagonalStairs:
            picture.setTo(middleGray);
            for (int x = 0; x < picture.cols; ++x)
                for (int y = x % 6; y < picture.rows; y += 6)
                    picture.at<cv::Vec4b>(y, x) = cv::Vec4b(0, 0, 255, 255);
            break;
        case Content::checkerboard:
            picture.setTo(middleGray);
            for (int y = 0; y < picture.rows; ++y)
                for (int x = y % 2; x < picture.cols; x += 2)
                    picture.at<cv::Vec4b>(y, x) = cv::Vec4b(0, 0, 255, 255);
            break;
        case Content::frames:
            picture.setTo(middleGray);
            for (int inset = 0; 2 * inset < std::min(picture.cols, picture.rows); inset += 3)
                cv::rectangle(
                    picture, cv::Rect(inset, inset, picture.cols - 2 * inset, picture.rows - 2 * inset), red);
            break;
    }
    // What a host keeps in the fourth byte of a picture without alpha.
    for (int y = 0; y < picture.rows; ++y)
        for (int x = 0; x < picture.cols; ++x) picture.at<cv::Vec4b>(y, x)[3] = 255;
}

}  // namespace qkzbench
