// The words of the help in the terminal.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "Host.h"
#include "Session.h"

namespace qkz {

/// Of the terminal that standard output goes to; 80 when it is none.
std::size_t terminalWidth();

/// Prints what there is to say of a method, a class or a member. Case does not matter, and the suffix may be
/// left out. Throws UsageError for a name without words.
void help(const qkzhost::Host&, const std::string& name, std::size_t width, std::ostream&);

/// Prints a line for everything that has the text in its name or its meaning, cut at the width. Throws
/// UsageError when there is nothing.
void search(const std::string& text, std::size_t width, std::ostream&);

/// A sentence on a registered name, or nothing.
std::string firstSentenceOn(const std::string& name);

/// What is thrown, with what the words know of it.
CallFailure explained(const NilResult&);
UsageError explained(const UnknownName&);

/// Does it; what it throws is explained.
template <class F>
auto explaining(F function) {
    try {
        return function();
    } catch (const NilResult& error) {
        throw explained(error);
    } catch (const UnknownName& error) {
        throw explained(error);
    }
}

}  // namespace qkz
