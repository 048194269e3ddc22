// What the command line itself tells: of its errors, and of what can be written.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>

#include "Host.h"

namespace qkz {

/// What is wrong with the arguments, and what to do next.
std::string misuse(const CLI::App&, const CLI::ParseError&);

/// Prints commands, options and what can be called, each on a line with tabs: what a manual page and
/// completion are made of. A command: `command`, name, description. An option: `option`, its command (empty
/// for all), its names with blanks between, VALUE if it takes one, description. A name: `call`, name, what it
/// does.
void describe(const CLI::App&, const qkzhost::Host&, std::ostream&);

}  // namespace qkz
