// The host's calls into the plug-in.
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
    return takeValue(&zero, type);
}

Value invokeWith(const Method& method, std::vector<Argument> arguments, const std::vector<Value>& given) {
    Value result = callNative(method.function, arguments, method.declaration.result);
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (arguments[i].byref) **given[i].as<Value*>() = std::move(arguments[i].value);
    }
    return result;
}

}  // namespace

Argument Host::argument(const Parameter& parameter, const Value& given) {
    Value value = given;
    if (parameter.byref) {
        if (!given.as<Value*>()) {
            throw std::invalid_argument("the argument for " + parameter.name + " must be a variable");
        }
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
                if (const auto* text = value.as<std::string>()) value = objects.newString(*text);
                return value.isNil() || value.as<OwnedString>() != nullptr;
            case Type::object:
                if (value.isNil()) return true;
                if (!value.as<OwnedObject>()) return false;
                // Only classes that this host has can be told apart.
                return sameText(objects.classOf(value.lentObject()), parameter.typeName) ||
                       !(sameText(parameter.typeName, "Picture") ||
                         sameText(parameter.typeName, "MemoryBlock") ||
                         registry.registration(parameter.typeName));
            case Type::none:
                break;
        }
        return false;
    };
    if (!fits()) {
        throw std::invalid_argument("the argument for " + parameter.name + " (" + parameter.typeName +
                                    ") cannot be " + shown(given));
    }
    return {parameter.type, value, parameter.byref};
}

std::vector<Argument> Host::arguments(const Method& method, const std::vector<Value>& given) {
    const std::vector<Parameter> parameters = method.parameters();
    if (given.size() > parameters.size()) {
        throw std::invalid_argument(method.text() + " takes fewer arguments");
    }
    std::vector<Argument> result;
    try {
        for (const Parameter& p : parameters) {
            const std::size_t i = result.size();
            if (i >= given.size() && !p.defaultText) {
                throw std::invalid_argument("the argument for " + p.name + " (" + p.typeName +
                                            ") is missing");
            }
            result.push_back(argument(p, i < given.size() ? given[i] : parseLiteral(*p.defaultText, p.type)));
        }
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(method.declaration.name + ": " + error.what());
    }
    return result;
}

Value Host::invoke(const Method& method, const std::vector<Value>& given) {
    return invokeWith(method, arguments(method, given), given);
}

Value Host::callOverload(std::string_view name, bool assigning, const std::vector<Value>& given) {
    std::vector<Argument> fitting;
    const Overload overload =
        chooseOverload(registry.find(name, assigning), given.size(),
                       [&](const Method& method) { fitting = arguments(method, given); });
    if (overload.method) return invokeWith(*overload.method, std::move(fitting), given);
    if (!overload.obstacle.empty()) throw std::invalid_argument(overload.obstacle);
    throw std::invalid_argument("there is no " + std::string(name) + " that takes " +
                                std::to_string(given.size()) + " arguments");
}

Value Host::call(std::string_view name, const std::vector<Value>& arguments) {
    return callOverload(name, false, arguments);
}

Value Host::assign(std::string_view name, std::vector<Value> arguments, Value value) {
    arguments.push_back(std::move(value));
    return callOverload(name, true, arguments);
}

std::optional<Value> Host::property(REALobjectStruct* handle, std::string_view name) {
    Object* object = objects.find(handle, "property");
    return object ? object->get(name) : std::nullopt;
}

bool Host::setProperty(REALobjectStruct* handle, std::string_view name, const Value& value) {
    Object* object = objects.find(handle, "property");
    if (!object) return false;
    const Registration* type = registry.registration(object->className);
    const RegisteredProperty* declared = type ? type->property(name) : nullptr;
    if (!declared) return object->set(name, value);
    try {
        return object->set(
            name,
            argument({.name = declared->name, .typeName = declared->type, .type = typeNamed(declared->type)},
                     value)
                .value);
    } catch (const std::invalid_argument&) {  // the value is of another type
        return false;
    }
}

std::optional<Value> Host::property(std::string_view module, std::string_view name) const {
    const Registration* owner = registry.registration(module);
    const RegisteredProperty* found = owner ? owner->property(name) : nullptr;
    if (!found || !found->getter) return {};
    return callNative(found->getter, {}, typeNamed(found->type));
}

bool Host::setProperty(std::string_view module, std::string_view name, const Value& value) const {
    const Registration* owner = registry.registration(module);
    const RegisteredProperty* found = owner ? owner->property(name) : nullptr;
    if (!found || !found->setter) return false;
    const Type type = typeNamed(found->type);
    if (type == Type::boolean ? !value.as<bool>() : isWhole(type) && !value.as<std::int64_t>()) return false;
    Argument argument[] = {{type, value}};
    callNative(found->setter, argument, Type::none);
    return true;
}

}  // namespace qkzhost
