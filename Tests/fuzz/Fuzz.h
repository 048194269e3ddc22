// What the fuzzers share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string_view>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// What the function gives, or nothing when it throws what it may.
template <class Error, class F>
auto attempt(F function) -> std::optional<decltype(function())> try {
    return function();
} catch (const Error&) {
    return {};
}

/// Ends the fuzzer with a finding when something does not hold.
inline void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (holds) return;
    std::cerr << file << ':' << line << ": does not hold\n";
    std::abort();
}
