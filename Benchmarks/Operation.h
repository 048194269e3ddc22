// What is timed, and what it is measured against.
#pragma once

#include <vector>

#include "Calls.h"

namespace qkzbench {

/// What a limit is a multiple of: copying the picture into a new one by memcpy; a loop that makes a new one
/// of the words of one, two or three pictures and does next to nothing else; adding up the words; a
/// microsecond.
enum class Against { copy, one, two, three, sum, microsecond };

/// What is copied, passed over first or added up is the picture that the operation reads.
struct Unit {
    Unit(Against theKind, Content theContent = Content::photo) : kind(theKind), content(theContent) {}
    Against kind;
    Content content;
};

/// In units, at the larger two sizes: what must hold, and what is aimed at. 0: none.
struct Limit {
    Limit(double theMost, double theGoal = 0) : most(theMost), goal(theGoal) {}
    double most, goal;
};

enum class Sizes {
    all,
    large,  // those in which the sought piece lies
};

/// "Not slower" than the peer, as far as a measurement can tell.
inline constexpr double notSlower = 0.9;
/// One pass of simple arithmetic: the floor, as far as a measurement can tell.
inline constexpr double onePass = 1.15;

struct Operation {
    std::string name;
    Prepare ours;
    Unit unit;
    Limit limit;
    std::string peerName = {};
    double peerLimit = 0;  // the peer's time is at least so many times ours there; 0: not asked for
    Prepare peer = {};
    double tolerance = 0;     // by how much the peer's outcome may differ
    std::string peerOf = {};  // the operation whose peer's time is this one's, too
    Sizes sizes = Sizes::all;
    bool slowPeer = false;  // runs once a repetition
};

/// The widest vectors that the plug-in uses on this machine.
enum class Vectors { sse2, avx2, avx512, avx512vbmi };
Vectors vectors();

std::vector<Operation> makingPictures();
std::vector<Operation> lookingAtPictures();

}  // namespace qkzbench
