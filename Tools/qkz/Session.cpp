#include "Session.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <span>
#include <sstream>
#include <string_view>

#include "CubeFile.h"

namespace qkz {
namespace {

using namespace qkzhost;
using std::filesystem::path;

std::string suggestion(std::string_view wanted, const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& near : nearest(wanted, names)) {
        list += (list.empty() ? "; the nearest: " : ", ") + near;
    }
    return list;
}

/// The bytes that a quoted argument stands for.
std::vector<std::uint8_t> bytesOf(const std::string& text) {
    if (text.starts_with("text:")) return {text.begin() + 5, text.end()};
    if (!text.starts_with("hex:")) return fromFile([&] { return readFile(text); });
    std::vector<std::uint8_t> bytes;
    if (text.size() % 2 != 0) throw UsageError("hex: wants an even number of digits");
    for (std::size_t i = 4; i < text.size(); i += 2) {
        if (!std::isxdigit(static_cast<unsigned char>(text[i])) ||
            !std::isxdigit(static_cast<unsigned char>(text[i + 1]))) {
            throw UsageError("\"" + text.substr(i, 2) + "\" is not a hexadecimal byte");
        }
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string head(std::string_view bytes) {
    std::string result = std::to_string(bytes.size()) + " bytes: \"";
    for (const char c : bytes.substr(0, 40)) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped,
                      c >= ' ' && c <= '~' && c != '"' && c != '\\' ? "%c" : "\\x%02x",
                      static_cast<unsigned char>(c));
        result += escaped;
    }
    return result + (bytes.size() > 40 ? "\"..." : "\"");
}

std::string head(std::span<const std::uint8_t> bytes) {
    std::string result = std::to_string(bytes.size()) + " bytes:";
    for (const std::uint8_t byte : bytes.first(std::min<std::size_t>(bytes.size(), 16))) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02x", byte);
        result += digits;
    }
    return result + (bytes.size() > 16 ? " ..." : "");
}

[[noreturn]] void reject(const std::string& owner, const Parameter& parameter,
                         const WrittenArgument& argument, const std::string& reason) {
    throw UsageError(owner + ": the argument for " + parameter.name + " (" + parameter.typeName + ") " +
                     reason + ": " + (argument.quoted ? '"' + argument.text + '"' : argument.text));
}

std::vector<WrittenArgument> allArguments(const WrittenCall& call) {
    std::vector<WrittenArgument> all = call.arguments;
    if (call.assigned) all.push_back(*call.assigned);
    return all;
}

std::string_view asText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

void Session::open(const path& file) {
    if (file.extension() != ".ppic" || host_.registry.find("BinaryStringtoPictureQKZ").empty()) {
        PictureFile read = fromFile([&] { return readPicture(host_, file, limits_); });
        current_ = std::move(read.picture);
        metadata_ = std::move(read.metadata);
        return;
    }
    const auto bytes = fromFile([&] { return readPacked(file, limits_); });
    const OwnedString data = host_.objects.newString(asText(bytes), REALencodingUnknown);
    current_ = host_.call("BinaryStringtoPictureQKZ", {data}).picture();
    checkException();
    if (!current_) throw UsageError(file.string() + ": not a packed picture");
}

PictureHeader Session::header() const {
    const Surface& surface = host_.objects.surface(current_);
    return {surface.width, surface.height, surface.alpha, host_.objects.picture(current_).resolution};
}

std::size_t Session::fingerprint() const {
    Surface& surface = host_.objects.surface(current_);
    std::size_t sum = 0;
    std::string row(static_cast<std::size_t>(surface.width) * 4, '\0');
    for (int y = 0; y < surface.height; ++y) {
        surface.read(0, y, surface.width, reinterpret_cast<std::uint32_t*>(row.data()));
        sum = sum * 31 + std::hash<std::string>()(row);
    }
    return sum;
}

Gives Session::check(const std::string& text) {
    const WrittenCall call = parseCall(text);
    const Registration* type = host_.registry.registration(call.name);
    if (type && type->kind == Registration::classType) {
        checkClass(*type, call);
        return Gives::picture;
    }
    checking_ = true;
    const auto checked = std::unique_ptr<bool, void (*)(bool*)>(&checking_, [](bool* on) { *on = false; });
    Prepared prepared;
    const Declaration& declaration = choose(call, allArguments(call), prepared).declaration;
    if (call.assigned || sameText(declaration.resultName, "Picture")) return Gives::picture;
    return declaration.result == Type::string ? Gives::string : Gives::value;
}

bool Session::knows(std::string_view name) const {
    const Registration* type = host_.registry.registration(name);
    return (type && type->kind == Registration::classType) || !host_.registry.find(name).empty() ||
           !host_.registry.find(name, true).empty();
}

void Session::run(const std::string& text) {
    const WrittenCall call = parseCall(text);
    lastString_.reset();
    const Registration* type = host_.registry.registration(call.name);
    if (type && type->kind == Registration::classType) {
        runClass(*type, call);
    } else {
        runMethod(call);
    }
}

void Session::save(const path& file, const Encoding& encoding) const {
    const auto write = [&](std::string_view bytes) {
        fromFile([&] { writeFile(file, bytes.data(), bytes.size()); });
    };
    if (lastString_) return write(*lastString_);
    if (file.extension() == ".ppic") {
        const Value packed = host_.call("PicturetoBinaryStringQKZ", {current_});
        checkException();
        return write(host_.objects.text(packed.string()));
    }
    fromFile([&] { writePicture(host_, current_, file, metadata_, encoding); });
}

std::optional<std::string> Session::stringHead() const {
    return lastString_ ? std::optional(head(*lastString_)) : std::nullopt;
}

/// The value of an argument as the parameter wants it. Throws std::invalid_argument with a phrase such as "is
/// not a number".
Value Session::valueOf(const WrittenArgument& argument, const Parameter& parameter) const {
    const bool isPicture = sameText(parameter.typeName, "Picture");
    const bool isBlock = sameText(parameter.typeName, "MemoryBlock");
    if (isPicture && !argument.quoted && argument.text == "$") return current_;
    if (!argument.quoted) {
        try {
            return parseLiteral(argument.text, parameter.type);
        } catch (const std::invalid_argument& error) {
            if (isPicture) throw std::invalid_argument("is neither $ nor nil nor a quoted file name");
            if (isBlock || parameter.type == Type::string) {
                throw std::invalid_argument("is neither nil nor a quoted file name");
            }
            throw;
        }
    }
    if (!isPicture && !isBlock && parameter.type != Type::string) {
        throw std::invalid_argument("cannot be a quoted text");
    }
    if (checking_ &&
        (isPicture || !(argument.text.starts_with("hex:") || argument.text.starts_with("text:")))) {
        return {};
    }
    if (isPicture) return fromFile([&] { return readPicture(host_, argument.text, limits_).picture; });
    auto bytes = bytesOf(argument.text);
    if (isBlock) return host_.objects.newMemoryBlock(std::move(bytes));
    return host_.objects.newString(asText(bytes), REALencodingUnknown);
}

/// Throws UsageError naming the argument that does not fit.
Session::Prepared Session::prepare(const Method& method, const std::vector<WrittenArgument>& written) const {
    Prepared prepared;
    const std::string& name = method.declaration.name;
    if (!method.selfClass.empty()) prepared.values.emplace_back(current_);
    for (std::size_t i = 0; i < written.size(); ++i) {
        const Parameter& parameter = method.declaration.parameters[i];
        const WrittenArgument& argument = written[i];
        if (!argument.key.empty()) {
            throw UsageError(name + ": arguments are not named here: " + argument.key);
        }
        if (!parameter.byref && !argument.file.empty()) {
            reject(name, parameter, argument, "is not passed by reference and cannot be saved");
        }
        Value value;
        bool named = false;
        try {
            value = valueOf(argument, parameter);
        } catch (const UsageError&) {
            throw;
        } catch (const std::invalid_argument& error) {
            named = parameter.byref && !argument.quoted &&
                    std::isalpha(static_cast<unsigned char>(argument.text.front()));
            if (!named) reject(name, parameter, argument, error.what());
        }
        if (parameter.byref) {
            prepared.variables.push_back({value, named ? argument.text : parameter.name, &argument});
            prepared.values.emplace_back(&prepared.variables.back().value);
        } else {
            prepared.values.push_back(value);
        }
    }
    return prepared;
}

void Session::runMethod(const WrittenCall& call) {
    const std::vector<WrittenArgument> written = allArguments(call);
    Prepared prepared;
    const Method& method = choose(call, written, prepared);
    deliver(method, host_.invoke(method, prepared.values));
    show(prepared);
}

/// The method that takes what is written, and its values. Throws UsageError.
const Method& Session::choose(const WrittenCall& call, const std::vector<WrittenArgument>& written,
                              Prepared& prepared) const {
    Methods candidates = host_.registry.find(call.name, call.assigned.has_value());
    std::erase_if(candidates, [](const Method* m) {  // methods of the plug-in's classes
        return !m->selfClass.empty() && !sameText(m->selfClass, "Picture");
    });
    if (candidates.empty()) unknown(call);
    const auto prepareFor = [&](const Method& method) { prepared = prepare(method, written); };
    const auto [method, obstacle] = chooseOverload(candidates, written.size(), prepareFor, true);
    if (method) return *method;
    if (!obstacle.empty()) throw UsageError(obstacle);
    std::string forms;
    for (const Method* candidate : candidates) forms += "\n  " + candidate->text();
    throw UsageError(call.name + " takes other arguments:" + forms);
}

void Session::unknown(const WrittenCall& call) const {
    if (call.assigned && !host_.registry.find(call.name).empty()) {
        throw UsageError(call.name + " cannot be assigned to");
    }
    if (!call.assigned && !host_.registry.find(call.name, true).empty()) {
        throw UsageError(call.name + " can only be assigned to");
    }
    std::vector<std::string> names;
    for (const Method& method : host_.registry.methods()) {
        if (method.selfClass.empty() || sameText(method.selfClass, "Picture")) {
            names.push_back(method.declaration.name);
        }
    }
    for (const Registration& r : host_.registry.registrations()) {
        if (r.kind == Registration::classType) names.push_back(r.name);
    }
    throw UsageError("there is no method " + call.name + suggestion(call.name, names));
}

void Session::checkException() const {
    if (const auto raised = host_.exceptions.take()) {
        throw CallFailure(raised->className + ": " + raised->message);
    }
}

void Session::deliver(const Method& method, const Value& result) {
    checkException();
    if (method.declaration.result == Type::none) return;
    if (result.isNil()) throw CallFailure(method.declaration.name + " returned nil.");
    if (result.as<OwnedString>()) {
        lastString_ = host_.objects.text(result.string());
    } else if (result.as<OwnedObject>() && host_.objects.classOf(result.object()) == "Picture") {
        current_ = result.picture();
    } else {
        std::cout << shown(result) << '\n';
    }
}

std::string Session::shown(const Value& value) const {
    std::ostringstream text;
    if (value.as<OwnedString>() && !value.isNil()) {
        text << head(host_.objects.text(value.string()));
    } else if (value.as<OwnedObject>() && !value.isNil()) {
        const std::string_view name = host_.objects.classOf(value.object());
        if (name == "MemoryBlock") {
            text << head(host_.objects.bytes(value.block()));
        } else {
            text << name;
        }
    } else {
        text << value;
    }
    return text.str();
}

void Session::show(const Prepared& prepared) const {
    for (const auto& [value, name, argument] : prepared.variables) {
        std::cout << name << " = " << shown(value) << '\n';
        if (argument->file.empty()) continue;
        if (!value.as<OwnedObject>() || host_.objects.classOf(value.object()) != "MemoryBlock") {
            throw UsageError(name + " is no memory block to be saved");
        }
        const auto bytes = host_.objects.bytes(value.block());
        fromFile([&, &file = argument->file] { writeFile(file, bytes.data(), bytes.size()); });
    }
}

/// A look-up table in a file, as one of a class with such a table takes it.
bool Session::isTable(const WrittenArgument& argument) const {
    return sameText(argument.key, "Table") && !host_.registry.find("Table", true).empty();
}

void Session::checkClass(const Registration& type, const WrittenCall& call) const {
    if (call.assigned) throw UsageError(call.name + " is a class and cannot be assigned to");
    for (const WrittenArgument& argument : call.arguments) {
        if (argument.key.empty()) {
            throw UsageError(call.name + ": write Property=value, not " + argument.text);
        }
        if (!argument.file.empty()) {
            throw UsageError(call.name + ": the property " + argument.key + " cannot be saved");
        }
        if (!isTable(argument)) propertyValue(type, argument);
    }
}

/// A new instance with its properties set and run; its destination becomes the current picture.
void Session::runClass(const Registration& type, const WrittenCall& call) {
    checkClass(type, call);
    const OwnedObject instance = host_.newInstance(type.name);
    host_.setProperty(instance, "SourcePicture", current_);
    for (const WrittenArgument& argument : call.arguments) {
        if (isTable(argument)) {
            fillTable(host_, instance, fromFile([&] { return readCube(path(argument.text)); }));
        } else if (!host_.setProperty(instance, argument.key, propertyValue(type, argument))) {
            throw UsageError(type.name + ": " + argument.key + " cannot be set");
        }
    }
    const Value done = host_.call("Run", {instance});
    checkException();
    if (!done.as<bool>() || !done.boolean()) throw CallFailure(type.name + ": Run returned false.");
    const auto destination = host_.property(instance, "DestinationPicture");
    if (!destination || destination->isNil()) throw CallFailure(type.name + " returned nil.");
    current_ = destination->picture();
}

/// Throws UsageError for a property that there is not and for a value that does not fit it.
Value Session::propertyValue(const Registration& type, const WrittenArgument& argument) const {
    const RegisteredProperty* property = type.property(argument.key);
    if (!property) {
        std::vector<std::string> names;
        for (const RegisteredProperty& p : type.properties) names.push_back(p.name);
        throw UsageError(type.name + " has no property " + argument.key + suggestion(argument.key, names));
    }
    const Parameter parameter{
        .name = property->name, .typeName = property->type, .type = typeNamed(property->type)};
    try {
        return valueOf(argument, parameter);
    } catch (const UsageError&) {
        throw;
    } catch (const std::invalid_argument& error) {
        reject(type.name, parameter, argument, error.what());
    }
}

}  // namespace qkz
