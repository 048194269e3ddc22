// The pictures that operations are timed on.
#pragma once

#include <map>
#include <opencv2/core.hpp>

#include "Host.h"

namespace qkzbench {

using Pic = REALpictureStruct*;

enum class Content {
    photo,  // smooth colours with detail and noise, as a camera gives them; `other` and `third` are alike
    other,
    third,
    translucent,  // a photo with an alpha channel
    gray,         // a photo without colour
    white,
    black,
    flat,  // one colour
    noise,
    enlarged,       // a small photo, blown up
    flatWithPiece,  // one colour but for the piece of a photo near the bottom right
    flatWithDot,    // one colour but for one pixel near the bottom right
    diagonalStairs,
    checkerboard,
    frames,  // coloured shapes on grey
};

/// Pictures of one size, each made when it is first asked for.
class Scene {
 public:
    Scene(qkzhost::Host& theHost, int w, int h) : host(theHost), width(w), height(h) {}

    /// Borrowed.
    Pic picture(Content);
    cv::Mat mat(Content content) { return mat(picture(content)); }
    /// A header over a picture's own pixels: blue, green, red and the fourth byte.
    cv::Mat mat(Pic) const;
    /// A new picture without alpha channel of the scene's size, zeroed.
    qkzhost::OwnedPicture newPicture(bool alpha = false) const;
    qkzhost::OwnedPicture copy(Content);

    qkzhost::Host& host;
    const int width, height;
    /// What is searched for, and where it is: near the bottom right.
    static constexpr int pieceSize = 64;
    cv::Point piecePlace() const { return {width - pieceSize - 37, height - pieceSize - 29}; }

 private:
    void paint(Content, cv::Mat picture);
    std::map<Content, qkzhost::OwnedPicture> pictures_;
};

}  // namespace qkzbench
