// What is timed, and what it is measured against.
#pragma once

#include <vector>

#include "Calls.h"

namespace qkzbench {

/// What a limit is a multiple of: copying the picture into a new one by memcpy; a loop that makes a new one
/// of the words of one, two or three pictures and does next to nothing else; adding up the words; a
/// microsecond.
enum class Against { copy, one, two, three, sum, microsecond };

enum class Sizes {
    all,
    large,  // those in which the sought piece lies
};

/// "Not slower" than the peer, as far as a measurement can tell.
inline constexpr double notSlower = 0.95;
/// One pass of simple arithmetic: the floor, as far as a measurement can tell.
inline constexpr double onePass = 1.15;

struct Operation {
    std::string name;
    Prepare ours;
    Against against;
    double limit;  // must hold at the larger two sizes; 0: none
    std::string peerName = {};
    double peerLimit = 0;  // the peer's time is at least so many times ours there; 0: not asked for
    Prepare peer = {};
    double tolerance = 0;     // by how much the peer's outcome may differ
    std::string peerOf = {};  // the operation whose peer's time is this one's, too
    Sizes sizes = Sizes::all;
    bool slowPeer = false;  // runs once a repetition
};

std::vector<Operation> makingPictures();
std::vector<Operation> lookingAtPictures();

}  // namespace qkzbench
