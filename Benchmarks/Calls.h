// Calls of the plug-in's functions and of the peer's, ready to be timed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <variant>

#include "Scene.h"

namespace qkzbench {

/// What a call gives. A picture that was changed in place is given with a reference of its own.
using Outcome = std::variant<double, qkzhost::OwnedPicture, qkzhost::OwnedString>;
/// One call with its arguments bound; releasing the outcome is timed with it.
using Call = std::function<Outcome()>;
/// Prepares a call on a scene's pictures. An empty call: the plug-in has no such method.
using Prepare = std::function<Call(Scene&)>;

/// How far two outcomes are apart: the largest difference of a colour channel or of a number; a large number
/// for outcomes of different kinds or sizes.
double difference(Scene&, const Outcome&, const Outcome&);

/// Whether an argument of this C++ type is what the declared one wants; by reference, the type is a pointer.
template <class T>
bool fits(const qkzhost::Parameter& parameter) {
    using qkzhost::Type;
    const Type type = parameter.type;
    if constexpr (std::is_void_v<T>) return type == Type::none;
    if (parameter.byref) return std::is_pointer_v<T>;
    if constexpr (std::is_pointer_v<T>) return type == Type::object || type == Type::string;
    if constexpr (std::is_same_v<T, RBInteger>) return type == Type::integer;
    if constexpr (std::is_same_v<T, double>) return type == Type::real;
    if constexpr (std::is_same_v<T, RBBoolean>) return type == Type::boolean;
    if constexpr (std::is_same_v<T, std::uint32_t>) return type == Type::color || type == Type::uint32;
    return false;
}

/// The registered function of this name and signature, the object it is called on included; else null.
template <class R, class... A>
auto find(const qkzhost::Host& host, std::string_view name, std::string_view ofClass = "Picture",
          bool assigning = false) -> R (*)(A...) {
    const auto check = [&](const qkzhost::Method& method) {
        const auto parameters = method.parameters();
        std::size_t i = 0;
        const bool same = (method.selfClass.empty() || method.selfClass == ofClass) &&
                          parameters.size() == sizeof...(A) && (fits<A>(parameters[i++]) && ...) &&
                          fits<R>({.name = {}, .typeName = {}, .type = method.declaration.result});
        if (!same) throw std::invalid_argument("the signature is another");
    };
    const auto* found = chooseOverload(host.registry.find(name, assigning), sizeof...(A), check).method;
    return found ? reinterpret_cast<R (*)(A...)>(found->function) : nullptr;
}

// Arguments as the host passes them.
inline Pic argument(Scene& scene, Content content) { return scene.picture(content); }
inline RBInteger argument(Scene&, int value) { return value; }
inline double argument(Scene&, double value) { return value; }
inline RBBoolean argument(Scene&, bool value) { return value; }
inline RBColor argument(Scene&, qkzhost::Color value) { return value.word; }

// What a function gives; a handle comes with a reference.
inline Outcome outcome(Pic picture) { return qkzhost::OwnedPicture(picture); }
inline Outcome outcome(REALstringStruct* string) { return qkzhost::OwnedString(string); }
template <class Handle>
Outcome outcome(qkzhost::Owned<Handle> owned) {
    return owned;
}
template <class Number>
requires std::is_arithmetic_v<Number> Outcome outcome(Number number) { return static_cast<double>(number); }

/// The plug-in's method (or global method) with these arguments, of which a method's first is its picture.
template <class R, class... A>
Prepare method(const char* name, A... arguments) {
    return [=](Scene& scene) -> Call {
        const auto bound = std::make_tuple(argument(scene, arguments)...);
        const auto function =
            std::apply([&](auto... a) { return find<R, decltype(a)...>(scene.host, name); }, bound);
        if (!function) return {};
        return [function, bound] { return outcome(std::apply(function, bound)); };
    };
}

/// A method that changes a picture: it is given a copy of the photo, which is the outcome.
template <class R, class... A>
Prepare inPlace(const char* name, bool assigning, A... arguments) {
    return [=](Scene& scene) -> Call {
        const qkzhost::OwnedPicture copy = scene.copy(Content::photo);
        const auto bound = std::make_tuple(copy.get(), argument(scene, arguments)...);
        const auto function = std::apply(
            [&](auto... a) { return find<R, decltype(a)...>(scene.host, name, "Picture", assigning); },
            bound);
        if (!function) return {};
        return [function, bound, copy] {
            std::apply(function, bound);
            return outcome(copy);
        };
    };
}

/// The peer's way to a new picture: `work(scene, to)` fills the pixels of a picture that the host has just
/// made. Members of `work` are kept from call to call: its intermediate pictures are allocated once.
template <class Work>
Prepare peerMakes(Work work) {
    return [=](Scene& scene) -> Call {
        return [&scene, work]() mutable {
            auto picture = scene.newPicture();
            work(scene, scene.mat(picture));
            return Outcome(std::move(picture));
        };
    };
}

/// The peer's way to a number: `work(scene)`.
template <class Work>
Prepare peerTells(Work work) {
    return [=](Scene& scene) -> Call {
        return [&scene, work]() mutable { return Outcome(static_cast<double>(work(scene))); };
    };
}

/// The peer's way to change a copy of the photo: `work(scene, pixels)`.
template <class Work>
Prepare peerChanges(Work work) {
    return [=](Scene& scene) -> Call {
        const qkzhost::OwnedPicture copy = scene.copy(Content::photo);
        return [&scene, work, copy]() mutable {
            work(scene, scene.mat(copy));
            return outcome(copy);
        };
    };
}

}  // namespace qkzbench
