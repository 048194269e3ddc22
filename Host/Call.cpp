// The host's calls into the plug-in.
#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "Host.h"

namespace qkzhost {
namespace {

bool isWhole(Type type) { return type == Type::integer || type == Type::int32 || type == Type::uint32; }

std::string shown(const Value& value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

Value zeroOf(Type type) {
    const std::uint64_t zero = 0;
    return loadValue(&zero, type);
}

}  // namespace

std::string Method::text() const {
    std::string result = selfClass.empty() && !shared ? "" : (selfClass.empty() ? owner : selfClass) + '.';
    result += declaration.name;
    std::string list;
    for (const Parameter& p : declaration.parameters) {
        if (p.assigns || (assigns && &p == &declaration.parameters.back())) continue;
        list +=
            (list.empty() ? "" : ", ") + std::string(p.byref ? "byref " : "") + p.name + " as " + p.typeName;
        if (p.defaultText) list += " = " + *p.defaultText;
    }
    if (!list.empty()) result += '(' + list + ')';
    if (assigns)
        return result + " = " + declaration.parameters.back().name + " as " +
               declaration.parameters.back().typeName;
    return result + (declaration.resultName.empty() ? "" : " as " + declaration.resultName);
}

std::size_t Method::leastArguments() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(declaration.parameters, [](const Parameter& p) { return !p.defaultText; }));
}

std::vector<const Method*> Host::find(std::string_view name, bool assigning) const {
    std::vector<const Method*> found;
    for (const Method& method : methods_)
        if (method.assigns == assigning && sameText(method.declaration.name, name)) found.push_back(&method);
    return found;
}

Argument Host::prepared(const Parameter& parameter, const Value& given,
                        std::vector<REALstringStruct*>& texts) {
    Value value = given;
    if (parameter.byref) {
        if (!given.as<Value*>())
            throw std::invalid_argument("the argument for " + parameter.name + " must be a variable");
        value = **given.as<Value*>();
        if (value.as<std::monostate>()) value = zeroOf(parameter.type);
    }
    const auto fits = [&] {
        const auto* integer = value.as<std::int64_t>();
        switch (parameter.type) {
            case Type::integer:
            case Type::int32:
            case Type::uint32:
                return integer != nullptr;
            case Type::real:
                if (integer) value = static_cast<double>(*integer);
                return value.as<double>() != nullptr;
            case Type::boolean:
                return value.as<bool>() != nullptr;
            case Type::color:
                if (integer) value = Color{static_cast<std::uint32_t>(*integer)};
                return value.as<Color>() != nullptr;
            case Type::string:
                if (const auto* text = value.as<std::string>()) {
                    texts.push_back(newString(*text));
                    value = texts.back();
                }
                return value.isNil() || value.as<REALstringStruct*>() != nullptr;
            case Type::object:
                if (value.isNil()) return true;
                if (!value.as<REALobjectStruct*>()) return false;
                // Only classes that this host has can be told apart.
                return sameText(classOf(value.object()), parameter.typeName) ||
                       !(sameText(parameter.typeName, "Picture") ||
                         sameText(parameter.typeName, "MemoryBlock") || registration(parameter.typeName));
            case Type::none:
                break;
        }
        return false;
    };
    if (!fits())
        throw std::invalid_argument("the argument for " + parameter.name + " (" + parameter.typeName +
                                    ") cannot be " + shown(given));
    return {parameter.type, value, parameter.byref};
}

Value Host::invoke(const Method& method, std::vector<Value> given) {
    std::vector<Parameter> parameters;
    if (!method.selfClass.empty()) parameters.push_back({.name = "self", .typeName = method.selfClass});
    const auto& declared = method.declaration.parameters;
    parameters.insert(parameters.end(), declared.begin(), declared.end());
    if (given.size() > parameters.size())
        throw std::invalid_argument(method.text() + " takes fewer arguments");

    std::vector<Argument> arguments;
    std::vector<REALstringStruct*> texts;
    const auto releaseTexts = [&] {
        for (REALstringStruct* text : texts) unlock(text);
    };
    try {
        for (std::size_t i = 0; i < parameters.size(); i++) {
            const Parameter& p = parameters[i];
            if (i >= given.size() && !p.defaultText)
                throw std::invalid_argument("the argument for " + p.name + " (" + p.typeName +
                                            ") is missing");
            arguments.push_back(
                prepared(p, i < given.size() ? given[i] : parseLiteral(*p.defaultText, p.type), texts));
        }
    } catch (const std::invalid_argument& error) {
        releaseTexts();
        throw std::invalid_argument(method.declaration.name + ": " + error.what());
    }
    const Value result = callNative(method.function, arguments, method.declaration.result);
    releaseTexts();
    for (std::size_t i = 0; i < given.size(); i++)
        if (parameters[i].byref) **given[i].as<Value*>() = arguments[i].value;
    return result;
}

Value Host::call(std::string_view name, std::vector<Value> arguments) {
    std::string reason;
    for (const Method* method : find(name)) {
        const std::size_t self = method->selfClass.empty() ? 0 : 1;
        if (arguments.size() < self + method->leastArguments() ||
            arguments.size() > self + method->declaration.parameters.size())
            continue;
        try {
            return invoke(*method, arguments);
        } catch (const std::invalid_argument& error) {
            reason = error.what();
        }
    }
    throw std::invalid_argument(reason.empty() ? "there is no " + std::string(name) + " that takes " +
                                                     std::to_string(arguments.size()) + " arguments"
                                               : reason);
}

Value Host::assign(std::string_view name, std::vector<Value> arguments, Value value) {
    arguments.push_back(std::move(value));
    std::string reason = "there is no " + std::string(name) + " to assign to";
    for (const Method* method : find(name, true)) try {
            return invoke(*method, arguments);
        } catch (const std::invalid_argument& error) {
            reason = error.what();
        }
    throw std::invalid_argument(reason);
}

std::optional<Value> Host::property(REALobjectStruct* handle, std::string_view name) {
    Object* object = objects_.find(handle, "property");
    return object ? object->get(objects_, name) : std::nullopt;
}

bool Host::setProperty(REALobjectStruct* handle, std::string_view name, Value value) {
    Object* object = objects_.find(handle, "property");
    if (!object) return false;
    const Registration* type = registration(object->className);
    const RegisteredProperty* declared = type ? type->property(name) : nullptr;
    std::vector<REALstringStruct*> texts;
    bool done = false;
    try {
        const Parameter parameter{.name = std::string(name),
                                  .typeName = declared ? declared->type : "",
                                  .type = declared ? typeNamed(declared->type) : Type::none};
        done = object->set(objects_, name, declared ? prepared(parameter, value, texts).value : value);
    } catch (const std::invalid_argument&) {  // the value is of another type
    }
    for (REALstringStruct* text : texts) unlock(text);
    return done;
}

std::optional<Value> Host::property(std::string_view module, std::string_view name) {
    const Registration* owner = registration(module);
    const RegisteredProperty* found = owner ? owner->property(name) : nullptr;
    if (!found || !found->getter) return {};
    return callNative(found->getter, {}, typeNamed(found->type));
}

bool Host::setProperty(std::string_view module, std::string_view name, Value value) {
    const Registration* owner = registration(module);
    const RegisteredProperty* found = owner ? owner->property(name) : nullptr;
    if (!found || !found->setter) return false;
    const Type type = typeNamed(found->type);
    if (type == Type::boolean ? !value.as<bool>() : isWhole(type) && !value.as<std::int64_t>()) return false;
    Argument argument[] = {{type, value}};
    callNative(found->setter, argument, Type::none);
    return true;
}

}  // namespace qkzhost
