#include "RealText.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace qkzhost {

#ifdef __cpp_lib_to_chars

std::string textFromReal(double value) {
    char buffer[32];
    return {buffer, std::to_chars(std::begin(buffer), std::end(buffer), value).ptr};
}

std::optional<double> realFromText(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

#else  // C++ libraries that cannot do so yet; the locale is "C"

namespace {

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char buffer[400];
    return {buffer, static_cast<std::size_t>(std::snprintf(buffer, sizeof buffer, format, values...))};
}

}  // namespace

std::string textFromReal(double value) {
    int digits = 0;
    std::string scientific;
    do scientific = formatted("%.*e", digits++, value);
    while (digits < 17 && std::strtod(scientific.c_str(), nullptr) != value);
    const auto exponentAt = scientific.find('e');
    if (exponentAt == scientific.npos) return scientific;  // infinite, or no number
    const int exponent = std::atoi(&scientific[exponentAt + 1]);
    const std::string fixed = formatted("%.*f", std::max(digits - 1 - exponent, 0), value);
    return fixed.size() <= scientific.size() ? fixed : scientific;
}

std::optional<double> realFromText(std::string_view text) {
    const std::string copy(text);
    if (copy.empty() || copy.front() == '+' || copy.find_first_of("xX \t\n\v\f\r") != copy.npos) return {};
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(copy.c_str(), &end);
    // The smallest numbers, which have fewer digits, are told as out of range, too.
    const bool isBeyond = errno == ERANGE && (value == 0 || std::isinf(value));
    return isBeyond || *end != '\0' ? std::nullopt : std::optional(value);
}

#endif

}  // namespace qkzhost
