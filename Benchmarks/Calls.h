// Calls of the plug-in's functions and of the peer's, ready to be timed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <variant>

#include "Scene.h"

namespace qkzbench {

/// What a call gives. A picture that was changed in place is given with a reference of its own.
using Outcome = std::variant<double, qkzhost::Owned<REALpictureStruct>, qkzhost::Owned<REALstringStruct>>;
/// One call with its arguments bound; releasing the outcome is timed with it.
using Call = std::function<Outcome()>;
/// Prepares a call on a scene's pictures. An empty call: the plug-in has no such method.
using Prepare = std::function<Call(Scene&)>;

/// How far two outcomes are apart: the largest difference of a colour channel or of a number; a large number
/// for outcomes of different kinds or sizes.
double difference(Scene&, const Outcome&, const Outcome&);

/// Whether an argument of this C++ type is what the declared one wants; by reference, the type is a pointer.
template <class T>
bool fits(qkzhost::Type type, bool byref) {
    using qkzhost::Type;
    if constexpr (std::is_void_v<T>) return type == Type::none;
    if (byref) return std::is_pointer_v<T>;
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
    for (const qkzhost::Method* method : host.find(name, assigning)) {
        if (!method->selfClass.empty() && method->selfClass != ofClass) continue;
        const auto& parameters = method->declaration.parameters;
        const std::size_t self = method->selfClass.empty() ? 0 : 1;
        if (parameters.size() + self != sizeof...(A)) continue;
        std::size_t i = 0;
        const auto next = [&](auto matches) {
            const bool good = i < self || matches(parameters[i - self].type, parameters[i - self].byref);
            i++;
            return good;
        };
        if ((next(&fits<A>) && ...) && fits<R>(method->declaration.result, false))
            return reinterpret_cast<R (*)(A...)>(method->function);
    }
    return nullptr;
}

// Arguments as the host passes them.
inline Pic argument(Scene& scene, Content content) { return scene.picture(content); }
inline RBInteger argument(Scene&, int value) { return value; }
inline double argument(Scene&, double value) { return value; }
inline RBBoolean argument(Scene&, bool value) { return value; }
inline RBColor argument(Scene&, qkzhost::Color value) { return value.word; }

inline Outcome outcome(Scene& scene, Pic picture) { return qkzhost::Owned(scene.host, picture); }
inline Outcome outcome(Scene& scene, REALstringStruct* string) { return qkzhost::Owned(scene.host, string); }
template <class Number>
requires std::is_arithmetic_v<Number> Outcome outcome(Scene&, Number number) {
    return static_cast<double>(number);
}

/// The plug-in's method (or global method) with these arguments, of which a method's first is its picture.
template <class R, class... A>
Prepare method(const char* name, A... arguments) {
    return [=](Scene& scene) -> Call {
        const auto bound = std::make_tuple(argument(scene, arguments)...);
        const auto function =
            std::apply([&](auto... a) { return find<R, decltype(a)...>(scene.host, name); }, bound);
        if (!function) return {};
        return [&scene, function, bound] { return outcome(scene, std::apply(function, bound)); };
    };
}

/// A method that changes a picture: it is given a copy of the photo, which is the outcome.
template <class R, class... A>
Prepare inPlace(const char* name, bool assigning, A... arguments) {
    return [=](Scene& scene) -> Call {
        const auto copy = std::make_shared<qkzhost::Owned<REALpictureStruct>>(scene.copy(Content::photo));
        const auto bound = std::make_tuple(copy->get(), argument(scene, arguments)...);
        const auto function = std::apply(
            [&](auto... a) { return find<R, decltype(a)...>(scene.host, name, "Picture", assigning); },
            bound);
        if (!function) return {};
        return [&scene, function, bound, copy] {
            std::apply(function, bound);
            scene.host.lock(copy->get());
            return outcome(scene, copy->get());
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
            work(scene, scene.mat(picture.get()));
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
        const auto copy = std::make_shared<qkzhost::Owned<REALpictureStruct>>(scene.copy(Content::photo));
        return [&scene, work, copy]() mutable {
            work(scene, scene.mat(copy->get()));
            scene.host.lock(copy->get());
            return outcome(scene, copy->get());
        };
    };
}

}  // namespace qkzbench
