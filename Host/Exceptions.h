// The exceptions that a plug-in raises.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Objects.h"

namespace qkzhost {

/// An exception that the plug-in raised.
struct RaisedException {
    std::string className, message;
    std::int64_t errorNumber = 0;
    bool operator==(const RaisedException&) const = default;
};
std::ostream& operator<<(std::ostream&, const RaisedException&);

/// The exception that a call has raised and that nobody has taken yet.
class Exceptions {
 public:
    explicit Exceptions(ObjectTable& objects) : objects_(objects) {}

    /// While another pends this is an error of the plug-in's.
    void raise(REALobjectStruct* exception);
    void raise(std::string_view className, std::string_view message);
    /// What a failing service raises: nothing while one pends, and what is raised next takes its place.
    void raiseAsFault();
    /// The pending one, which pends no longer.
    std::optional<RaisedException> take();
    /// Puts another in the place of the pending one, or nil, and gives that.
    OwnedObject exchange(OwnedObject other) { return std::exchange(pending_, std::move(other)); }

 private:
    ObjectTable& objects_;
    OwnedObject pending_;
    bool byFault_ = false;
};

}  // namespace qkzhost
