// Floating-point numbers as text, with a decimal point everywhere.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qkzhost {

/// The shortest text that reads as the same number.
std::string textFromReal(double);
/// Nothing when the text is anything else than one number.
std::optional<double> realFromText(std::string_view);

}  // namespace qkzhost
