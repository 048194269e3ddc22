// Any text as a declaration and as a literal of each type: written again, it says the same.
#include <sstream>

#include "Fuzz.h"
#include "Host.h"

using namespace qkzhost;

static std::string written(std::string_view literal, Type type) {
    std::ostringstream out;
    out << parseLiteral(literal, type);
    return out.str();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = textOf(data, size);
    for (const Type type : {Type::integer, Type::int32, Type::uint32, Type::real, Type::boolean, Type::color,
                            Type::string, Type::object}) {
        const auto once = attempt<std::invalid_argument>([&] { return written(text, type); });
        require(!once || written(*once, type) == *once);
    }
    auto declaration = attempt<std::invalid_argument>([&] { return parseDeclaration(text); });
    if (!declaration) return 0;
    // The object and an assigned value are written elsewhere than in the list.
    std::erase_if(declaration->parameters, [](const Parameter& p) { return p.extends || p.assigns; });
    require(parseDeclaration(Method{.declaration = *declaration}.text()) == *declaration);
    return 0;
}
