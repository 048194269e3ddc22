// Conversion of text between the host's encodings.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qkzhost {

/// Nothing when the text is malformed or cannot be said in the new encoding, or an encoding is not known.
/// To or from "unknown" the bytes stay as they are.
std::optional<std::string> convert(std::string_view bytes, std::uint32_t from, std::uint32_t to);

}  // namespace qkzhost
