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

/// Names as a sentence has them: `a, b and c`.
std::string listed(const std::vector<std::string>& names) {
    std::string result;
    for (std::size_t i = 0; i < names.size(); ++i) {
        result += (i == 0 ? "" : i + 1 < names.size() ? ", " : " and ") + names[i];
    }
    return result;
}

/// Whether a text that is no call names a picture file.
bool isFileName(const std::string& text) {
    static const char* const endings[] = {".png",  ".jpg", ".jpeg", ".webp", ".tif",
                                          ".tiff", ".gif", ".bmp",  ".heic", ".ppic"};
    const std::string ending = path(text).extension().string();
    return std::any_of(std::begin(endings), std::end(endings),
                       [&](const char* known) { return sameText(known, ending); });
}

const Parameter* parameterNamed(const Method& method, std::string_view name) {
    for (const Parameter& parameter : method.declaration.parameters) {
        if (sameText(parameter.name, name)) return &parameter;
    }
    return nullptr;
}

/// The arguments in the order of the parameters, null where the default stands. Throws UsageError.
std::vector<const WrittenArgument*> inOrder(const Method& method,
                                            const std::vector<WrittenArgument>& written) {
    const auto& parameters = method.declaration.parameters;
    const std::string& name = method.declaration.name;
    std::vector<const WrittenArgument*> bound(parameters.size());
    std::size_t next = 0;
    bool named = false;
    for (const WrittenArgument& argument : written) {
        std::size_t at = 0;
        if (!argument.key.empty()) {
            const Parameter* parameter = parameterNamed(method, argument.key);
            if (!parameter) throw UsageError(name + " has no parameter " + argument.key);
            at = static_cast<std::size_t>(parameter - parameters.data());
            named = true;
        } else if (method.assigns && &argument == &written.back()) {
            at = parameters.size() - 1;
        } else {
            if (named) throw UsageError(name + ": name the argument " + argument.text + " like those before");
            at = next++;
        }
        if (at >= bound.size()) throw UsageError(name + " takes no argument " + argument.text);
        if (bound[at]) throw UsageError(name + ": " + parameters[at].name + " is given twice");
        bound[at] = &argument;
    }
    std::vector<std::string> missing;
    for (std::size_t i = 0; i < bound.size(); ++i) {
        if (!bound[i] && !parameters[i].defaultText) missing.push_back(parameters[i].name);
    }
    if (!missing.empty()) throw UsageError(name + " lacks " + listed(missing) + ", in " + method.text());
    return bound;
}

/// How the host's language writes a literal for which there are other ways here.
std::string literal(const std::string& text, Type type) {
    if (type == Type::color && text.size() == 7 && text[0] == '#') return "&c" + text.substr(1);
    if (type == Type::boolean) {
        for (const char* yes : {"yes", "1"}) {
            if (sameText(text, yes)) return "true";
        }
        for (const char* no : {"no", "0"}) {
            if (sameText(text, no)) return "false";
        }
    }
    return text;
}

/// What a class is given. Throws UsageError where that is not written as properties are.
const std::vector<WrittenArgument>& properties(const WrittenCall& call) {
    if (call.assigned) throw UsageError(call.name + " is a class and cannot be assigned to");
    for (const WrittenArgument& argument : call.arguments) {
        if (argument.key.empty()) {
            throw UsageError(call.name + ": write Property=value, not " + argument.text);
        }
        if (!argument.file.empty()) {
            throw UsageError(call.name + ": the property " + argument.key + " cannot be saved");
        }
    }
    return call.arguments;
}

std::string_view asText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

bool isPacked(const path& file) { return sameText(file.extension().string(), ".ppic"); }

void Session::open(const path& file) {
    if (!isPacked(file) || host_.registry.find("BinaryStringtoPictureQKZ").empty()) {
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
    const WrittenCall call = read(text);
    checking_ = true;
    const auto checked = std::unique_ptr<bool, void (*)(bool*)>(&checking_, [](bool* on) { *on = false; });
    const Registration* type = host_.registry.registration(call.name);
    if (type && type->kind == Registration::classType) {
        checkClass(*type, call);
        return Gives::picture;
    }
    Prepared prepared;
    const Declaration& declaration = choose(call, allArguments(call), prepared).declaration;
    if (call.assigned || sameText(declaration.resultName, "Picture")) return Gives::picture;
    return declaration.result == Type::string ? Gives::string : Gives::value;
}

bool Session::knows(const std::string& name) const {
    return registered(name) || registered(name + std::string(suffix));
}

bool Session::registered(std::string_view name) const {
    const Registration* type = host_.registry.registration(name);
    return (type && type->kind == Registration::classType) || !host_.registry.find(name).empty() ||
           !host_.registry.find(name, true).empty();
}

void Session::run(const std::string& text) {
    const WrittenCall call = read(text);
    lastString_.reset();
    lastTruth_.reset();
    const Registration* type = host_.registry.registration(call.name);
    if (type && type->kind == Registration::classType) {
        runClass(*type, call);
    } else {
        runMethod(call);
    }
}

/// The call with the name that it means: the suffix may be left out.
WrittenCall Session::read(const std::string& text) const {
    const std::string begin = text.substr(0, text.find_first_of("(=."));
    const bool isCall = knows(begin);
    if (isFileName(text) && (!isCall || text.find_first_of("(=") == text.npos)) {
        throw UsageError("\"" + text +
                         "\" is a file where a call is wanted; a second picture stands in a call, " +
                         "as in 'MergePictureQKZ($, \"" + text + "\")'");
    }
    WrittenCall call = parseCall(text);
    const std::string whole = call.name + std::string(suffix);
    if (!registered(call.name) && registered(whole)) call.name = whole;
    return call;
}

void Session::save(const path& file, const Encoding& encoding) const {
    const auto write = [&](std::string_view bytes) {
        fromFile([&] { writeFile(file, bytes.data(), bytes.size()); });
    };
    if (lastString_) return write(*lastString_);
    if (isPacked(file)) {
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
            return parseLiteral(literal(argument.text, parameter.type), parameter.type);
        } catch (const std::invalid_argument& error) {
            if (parameter.type == Type::boolean) throw std::invalid_argument("is neither yes nor no");
            if (parameter.type == Type::color) {
                throw std::invalid_argument("is not a colour such as #FF8000 or &cFF8000");
            }
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
    const std::vector<const WrittenArgument*> bound = inOrder(method, written);
    for (std::size_t i = 0; i < bound.size(); ++i) {
        const Parameter& parameter = method.declaration.parameters[i];
        if (!bound[i]) {
            prepared.values.push_back(parseLiteral(*parameter.defaultText, parameter.type));
            continue;
        }
        const WrittenArgument& argument = *bound[i];
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

/// The methods that a call can mean: those of the name, and where arguments are named, with such parameters.
Methods Session::candidates(const WrittenCall& call) const {
    Methods all = host_.registry.find(call.name, call.assigned.has_value());
    std::erase_if(all, [](const Method* m) {  // methods of the plug-in's classes
        return !m->selfClass.empty() && !sameText(m->selfClass, "Picture");
    });
    if (all.empty()) unknown(call);
    Methods fitting = all;
    for (const WrittenArgument& argument : call.arguments) {
        if (argument.key.empty()) continue;
        std::vector<std::string> names;
        for (const Method* method : all) {
            for (const Parameter& parameter : method->declaration.parameters) names.push_back(parameter.name);
        }
        if (std::none_of(names.begin(), names.end(), [&](auto& n) { return sameText(n, argument.key); })) {
            throw UsageError(call.name + " has no parameter " + argument.key +
                             suggestion(argument.key, names));
        }
        std::erase_if(fitting, [&](const Method* method) { return !parameterNamed(*method, argument.key); });
    }
    return fitting.empty() ? all : fitting;
}

void Session::runMethod(const WrittenCall& call) {
    const std::vector<WrittenArgument> written = allArguments(call);
    Prepared prepared;
    const Method& method = choose(call, written, prepared);
    deliver(method, prepared, host_.invoke(method, prepared.values));
    show(prepared);
}

/// The method that takes what is written, and its values. Throws UsageError.
const Method& Session::choose(const WrittenCall& call, const std::vector<WrittenArgument>& written,
                              Prepared& prepared) const {
    const Methods methods = candidates(call);
    const auto prepareFor = [&](const Method& method) { prepared = prepare(method, written); };
    const auto [method, obstacle] = chooseOverload(methods, written.size(), prepareFor, true);
    if (method) return *method;
    if (!obstacle.empty()) throw UsageError(obstacle);
    const bool named = std::any_of(written.begin(), written.end(),
                                   [](const auto& argument) { return !argument.key.empty(); });
    if (named) inOrder(*methods.front(), written);  // tells what is missing
    std::string forms;
    for (const Method* candidate : methods) forms += "\n  " + candidate->text();
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
    throw UnknownName(call.name, "there is no method " + call.name + suggestion(call.name, names));
}

void Session::checkException(const std::string& name) const {
    if (const auto raised = host_.exceptions.take()) {
        throw CallFailure((name.empty() ? "" : name + " raised ") + raised->className + ": " +
                          raised->message);
    }
}

void Session::deliver(const Method& method, const Prepared& prepared, const Value& result) {
    checkException(method.declaration.name);
    if (method.declaration.result == Type::none) return;
    if (result.isNil()) {
        const std::string& name = method.declaration.name;
        throw NilResult(name, name + " returned nil." + given(method, prepared));
    }
    if (result.as<OwnedString>()) {
        lastString_ = host_.objects.text(result.string());
    } else if (result.as<OwnedObject>() && host_.objects.classOf(result.object()) == "Picture") {
        // What the file says of its picture is not true of one that was made of something else.
        if (std::none_of(prepared.values.begin(), prepared.values.end(),
                         [this](const Value& value) { return isCurrent(value); })) {
            metadata_ = nullptr;
        }
        current_ = result.picture();
    } else {
        if (result.as<bool>()) lastTruth_ = result.boolean();
        out_ << shown(result) << '\n';
    }
}

bool Session::isCurrent(const Value& value) const {
    return value.as<OwnedObject>() && value.lentObject() == current_.get();
}

/// What may be the reason that a method gave nothing: the sizes of pictures and blocks that it was given.
std::string Session::given(const Method& method, const Prepared& prepared) const {
    std::vector<std::string> told;
    const std::vector<Parameter> parameters = method.parameters();
    for (std::size_t i = 0; i < prepared.values.size(); ++i) {
        const Value& value = prepared.values[i];
        if (parameters[i].byref || parameters[i].type != Type::object) continue;
        std::string what = value.isNil() ? "nil" : "";
        if (!value.isNil() && host_.objects.classOf(value.lentObject()) == "Picture") {
            const Surface& surface = host_.objects.surface(value.picture());
            what = std::to_string(surface.width) + " x " + std::to_string(surface.height) + " pixels";
        } else if (!value.isNil() && host_.objects.classOf(value.lentObject()) == "MemoryBlock") {
            what = std::to_string(host_.objects.bytes(value.block()).size()) + " bytes";
        }
        const bool isSelf = i == 0 && !method.selfClass.empty();
        if (!what.empty()) told.push_back((isSelf ? "the picture" : parameters[i].name) + " (" + what + ")");
    }
    return told.empty() ? "" : " Given: " + listed(told) + '.';
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
        out_ << name << " = " << shown(value) << '\n';
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
    for (const WrittenArgument& argument : properties(call)) {
        if (!isTable(argument)) propertyValue(type, argument);
    }
}

/// A new instance with its properties set and run; its destination becomes the current picture.
void Session::runClass(const Registration& type, const WrittenCall& call) {
    const auto& written = properties(call);
    const OwnedObject instance = host_.newInstance(type.name);
    host_.setProperty(instance, "SourcePicture", current_);
    for (const WrittenArgument& argument : written) {
        if (isTable(argument)) {
            fillTable(host_, instance, fromFile([&] { return readCube(path(argument.text)); }));
        } else if (!host_.setProperty(instance, argument.key, propertyValue(type, argument))) {
            throw UsageError(type.name + ": " + argument.key + " cannot be set");
        }
    }
    const auto source = host_.property(instance, "SourcePicture");
    if (!source || !isCurrent(*source)) metadata_ = nullptr;
    const Value done = host_.call("Run", {instance});
    checkException(type.name);
    if (!done.as<bool>() || !done.boolean()) {
        throw NilResult(type.name + ".Run", type.name + ": Run returned false.");
    }
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
