// Calls on pictures by name, as the command qkz makes them, with everything in memory.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Files.h"
#include "Host.h"

namespace qkzplayground {

/// What came of calls one after the other.
struct Answer {
    std::vector<std::string> printed;   // by each call that was done; lines that end with a newline
    std::string error;                  // of the call after those, or empty
    std::optional<std::string> string;  // the last call's result, when it was a string
    qkzhost::OwnedPicture picture;      // the current picture at the end
};

class Playground {
 public:
    /// The plug-in has to be started on the host.
    explicit Playground(qkzhost::Host& host) : host_(host) {}

    // A name is written like a file's in a call; one that is given again stands for the new content.

    void addPicture(const std::string& name, Image);
    void addFile(const std::string& name, std::vector<std::uint8_t> bytes);
    /// Makes the calls on a copy of the named picture.
    Answer run(const std::string& picture, const std::vector<std::string>& calls);
    /// Everything that is registered, as `qkz list` prints it.
    std::string declarations() const;

 private:
    qkzhost::OwnedPicture copyOf(const std::string& name);

    qkzhost::Host& host_;
    std::map<std::string, qkzhost::OwnedPicture> originals_;  // of the pictures that were run on
};

}  // namespace qkzplayground
