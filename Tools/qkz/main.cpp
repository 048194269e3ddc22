// qkz: runs the plug-in's methods on picture files.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <new>
#include <optional>
#include <sstream>

#include "CallSyntax.h"
#include "CubeFile.h"
#include "Host.h"
#include "PictureFiles.h"

namespace qkz {
namespace {

using namespace qkzhost;
using std::filesystem::path;

/// A call failed; the text is for standard error.
struct CallFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What a file function throws is told as an error of the command line.
template <class F>
auto fromFile(F function) {
    try {
        return function();
    } catch (const TooManyPixels& error) {
        throw UsageError(error.what() + std::string("; --max-pixels allows more"));
    } catch (const std::runtime_error& error) {
        throw UsageError(error.what());
    }
}

std::string joined(const std::vector<std::string>& parts, const std::string& separator) {
    std::string result;
    for (const std::string& part : parts) result += (result.empty() ? "" : separator) + part;
    return result;
}

std::string suggestion(std::string_view wanted, const std::vector<std::string>& names) {
    const auto near = nearest(wanted, names);
    return near.empty() ? "" : "; the nearest: " + joined(near, ", ");
}

/// The bytes that a quoted argument stands for.
std::vector<std::uint8_t> bytesOf(const std::string& text) {
    if (text.starts_with("text:")) return {text.begin() + 5, text.end()};
    if (!text.starts_with("hex:")) return fromFile([&] { return readFile(text); });
    std::vector<std::uint8_t> bytes;
    if (text.size() % 2 != 0) throw UsageError("hex: wants an even number of digits");
    for (std::size_t i = 4; i < text.size(); i += 2) {
        if (!std::isxdigit(static_cast<unsigned char>(text[i])) ||
            !std::isxdigit(static_cast<unsigned char>(text[i + 1])))
            throw UsageError("\"" + text.substr(i, 2) + "\" is not a hexadecimal byte");
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

class Session {
 public:
    Session(Host& host, const Limits& limits) : host_(host), limits_(limits), current_(host, nullptr) {}

    void open(const path& file) {
        if (file.extension() == ".ppic" && !host_.find("BinaryStringtoPictureQKZ").empty()) {
            const auto bytes = fromFile([&] { return readPacked(file, limits_); });
            const Owned data(host_,
                             host_.newString({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                             REALencodingUnknown));
            current_ = Owned(host_, host_.call("BinaryStringtoPictureQKZ", {data.get()}).picture());
            checkException();
            if (!current_) throw UsageError(file.string() + ": not a packed picture");
        } else {
            current_ = Owned(host_, readPicture(file));
        }
    }

    void info() const {
        const auto resolution = host_.resolution(current_);
        const char* storages[] = {"Cairo", "GD", "pixmap"};
        std::cout << host_.width(current_) << " x " << host_.height(current_) << " pixels, "
                  << (host_.hasAlpha(current_) ? "with" : "without") << " alpha channel, "
                  << storages[static_cast<int>(host_.surface(current_).storage)] << ", " << resolution[0]
                  << " x " << resolution[1] << " dpi\n";
    }

    void run(const std::string& text) {
        const WrittenCall call = parseCall(text);
        lastString_.reset();
        const Registration* type = host_.registration(call.name);
        if (type && type->kind == Registration::classType)
            runClass(*type, call);
        else
            runMethod(call);
    }

    /// Writes the last call's string, or the current picture.
    void save(const path& file) const {
        if (lastString_) return fromFile([&] { writeFile(file, lastString_->data(), lastString_->size()); });
        const Image image{host_.width(current_), host_.height(current_), host_.hasAlpha(current_),
                          host_.argb(current_)};
        fromFile([&] { writePng(image, file); });
    }

    bool hasString() const { return lastString_.has_value(); }

    std::string stringHead() const { return head(*lastString_); }

 private:
    /// The values of one call, and what is to be released after it.
    struct Prepared {
        explicit Prepared(Host& h) : host(h) {}
        Prepared(Prepared&&) = default;
        ~Prepared() {
            for (const Value& v : owned) release(v);
            for (const Value& v : variables) release(v);
        }
        void release(const Value& value) const {
            if (value.as<REALobjectStruct*>()) host.unlock(value.object());
            if (value.as<REALstringStruct*>()) host.unlock(value.string());
        }
        Host& host;
        std::vector<Value> values, owned;
        std::deque<Value> variables;  // passed by reference; each holds what it refers to
        std::vector<std::pair<std::string, const WrittenArgument*>> shown;  // name of each variable
    };

    REALpictureStruct* readPicture(const path& file) const {
        const Image image = fromFile([&] { return readImage(file, limits_); });
        REALpictureStruct* picture = host_.newPicture(image.width, image.height, image.alpha, image.argb);
        if (!picture) throw UsageError(file.string() + ": no picture of this size can be made");
        return picture;
    }

    /// The value of an argument as the parameter wants it; a handle comes with a reference. Throws
    /// std::invalid_argument with a phrase such as "is not a number".
    Value valueOf(const WrittenArgument& argument, const Parameter& parameter) const {
        const bool isPicture = sameText(parameter.typeName, "Picture");
        const bool isBlock = sameText(parameter.typeName, "MemoryBlock");
        if (isPicture && !argument.quoted && argument.text == "$") {
            host_.lock(current_);
            return current_.get();
        }
        if (!argument.quoted) {
            try {
                return parseLiteral(argument.text, parameter.type);
            } catch (const std::invalid_argument& error) {
                if (isPicture) throw std::invalid_argument("is neither $ nor nil nor a quoted file name");
                if (isBlock || parameter.type == Type::string)
                    throw std::invalid_argument("is neither nil nor a quoted file name");
                throw;
            }
        }
        if (isPicture) return readPicture(argument.text);
        if (!isBlock && parameter.type != Type::string)
            throw std::invalid_argument("cannot be a quoted text");
        auto bytes = bytesOf(argument.text);
        if (isBlock) return host_.newMemoryBlock(std::move(bytes));
        return host_.newString({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                               REALencodingUnknown);
    }

    [[noreturn]] static void reject(const std::string& owner, const Parameter& parameter,
                                    const WrittenArgument& argument, const std::string& reason) {
        throw UsageError(owner + ": the argument for " + parameter.name + " (" + parameter.typeName + ") " +
                         reason + ": " + (argument.quoted ? '"' + argument.text + '"' : argument.text));
    }

    /// Throws UsageError naming the argument that does not fit.
    Prepared prepare(const Method& method, const std::vector<WrittenArgument>& written) const {
        Prepared prepared(host_);
        if (!method.selfClass.empty()) prepared.values.push_back(current_.get());
        const auto& parameters = method.declaration.parameters;
        for (std::size_t i = 0; i < written.size(); i++) {
            const Parameter& parameter = parameters[i];
            Value value;
            bool named = false;
            if (!written[i].key.empty())
                throw UsageError(method.declaration.name +
                                 ": arguments are not named here: " + written[i].key);
            try {
                value = valueOf(written[i], parameter);
            } catch (const std::invalid_argument& error) {
                named = parameter.byref && !written[i].quoted &&
                        std::isalpha(static_cast<unsigned char>(written[i].text.front()));
                if (!named) reject(method.declaration.name, parameter, written[i], error.what());
            }
            if (parameter.byref) {
                prepared.variables.push_back(value);
                prepared.values.emplace_back(&prepared.variables.back());
                prepared.shown.emplace_back(named ? written[i].text : parameter.name, &written[i]);
            } else {
                prepared.owned.push_back(value);
                prepared.values.push_back(value);
            }
        }
        return prepared;
    }

    void runMethod(const WrittenCall& call) {
        std::vector<const Method*> candidates = host_.find(call.name, call.assigned.has_value());
        std::erase_if(candidates, [](const Method* m) {  // methods of the plug-in's classes
            return !m->selfClass.empty() && !sameText(m->selfClass, "Picture");
        });
        if (candidates.empty()) unknown(call);
        std::vector<WrittenArgument> written = call.arguments;
        if (call.assigned) written.push_back(*call.assigned);
        std::optional<UsageError> misfit;
        for (const Method* method : candidates) {
            if (written.size() < method->leastArguments() ||
                written.size() > method->declaration.parameters.size())
                continue;
            std::optional<Prepared> prepared;
            try {
                prepared.emplace(prepare(*method, written));
            } catch (const UsageError& error) {
                if (!misfit) misfit = error;
                continue;
            }
            const Value result = host_.invoke(*method, prepared->values);
            deliver(*method, result);
            show(*prepared);
            return;
        }
        if (misfit) throw *misfit;
        std::vector<std::string> forms;
        for (const Method* method : candidates) forms.push_back("\n  " + method->text());
        throw UsageError(call.name + " takes other arguments:" + joined(forms, ""));
    }

    [[noreturn]] void unknown(const WrittenCall& call) const {
        if (call.assigned && !host_.find(call.name).empty())
            throw UsageError(call.name + " cannot be assigned to");
        if (!call.assigned && !host_.find(call.name, true).empty())
            throw UsageError(call.name + " can only be assigned to");
        std::vector<std::string> names;
        for (const Method& method : host_.methods())
            if (method.selfClass.empty() || sameText(method.selfClass, "Picture"))
                names.push_back(method.declaration.name);
        for (const Registration& r : host_.registrations())
            if (r.kind == Registration::classType) names.push_back(r.name);
        throw UsageError("there is no method " + call.name + suggestion(call.name, names));
    }

    void checkException() const {
        if (const auto raised = host_.takeException())
            throw CallFailure(raised->className + ": " + raised->message);
    }

    /// A picture becomes the current one, anything else is printed.
    void deliver(const Method& method, const Value& result) {
        Owned object(host_, result.as<REALobjectStruct*>() ? result.object() : nullptr);
        const Owned string(host_, result.as<REALstringStruct*>() ? result.string() : nullptr);
        checkException();
        if (method.declaration.result == Type::none) return;
        if (result.isNil()) throw CallFailure(method.declaration.name + " returned nil.");
        if (string) {
            lastString_ = host_.text(string);
        } else if (!object) {
            std::cout << result << '\n';
        } else if (host_.classOf(object) == "Picture") {
            host_.lock(object);
            current_ = Owned(host_, result.picture());
        } else {
            std::cout << shown(result) << '\n';
        }
    }

    std::string shown(const Value& value) const {
        std::ostringstream text;
        if (value.as<REALstringStruct*>() && !value.isNil()) {
            text << head(host_.text(value.string()));
        } else if (value.as<REALobjectStruct*>() && !value.isNil()) {
            const std::string_view name = host_.classOf(value.object());
            if (name == "MemoryBlock")
                text << head(host_.bytes(value.block()));
            else
                text << name;
        } else {
            text << value;
        }
        return text.str();
    }

    void show(const Prepared& prepared) const {
        for (std::size_t i = 0; i < prepared.variables.size(); i++) {
            const Value& value = prepared.variables[i];
            const auto& [name, argument] = prepared.shown[i];
            std::cout << name << " = " << shown(value) << '\n';
            if (argument->file.empty()) continue;
            if (!value.as<REALobjectStruct*>() || host_.classOf(value.object()) != "MemoryBlock")
                throw UsageError(name + " is no memory block to be saved");
            const auto bytes = host_.bytes(value.block());
            fromFile([&, file = argument->file] { writeFile(file, bytes.data(), bytes.size()); });
        }
    }

    /// A new instance with its properties set and run; its destination becomes the current picture.
    void runClass(const Registration& type, const WrittenCall& call) {
        if (call.assigned) throw UsageError(call.name + " is a class and cannot be assigned to");
        const Owned instance(host_, host_.newInstance(type.name));
        host_.setProperty(instance, "SourcePicture", current_.get());
        for (const WrittenArgument& argument : call.arguments) {
            if (argument.key.empty())
                throw UsageError(call.name + ": write Property=value, not " + argument.text);
            if (sameText(argument.key, "Table") && !host_.find("Table", true).empty())
                fillTable(instance, argument);
            else
                setNamed(type, instance, argument);
        }
        const Value done = host_.call("Run", {instance.get()});
        checkException();
        if (!done.as<bool>() || !done.boolean()) throw CallFailure(type.name + ": Run returned false.");
        const auto destination = host_.property(instance, "DestinationPicture");
        if (!destination || destination->isNil()) throw CallFailure(type.name + " returned nil.");
        current_ = Owned(host_, destination->picture());
    }

    void setNamed(const Registration& type, REALobjectStruct* instance,
                  const WrittenArgument& argument) const {
        const RegisteredProperty* property = type.property(argument.key);
        if (!property) {
            std::vector<std::string> names;
            for (const RegisteredProperty& p : type.properties) names.push_back(p.name);
            throw UsageError(type.name + " has no property " + argument.key +
                             suggestion(argument.key, names));
        }
        const Parameter parameter{
            .name = property->name, .typeName = property->type, .type = typeNamed(property->type)};
        Prepared kept(host_);
        try {
            kept.owned.push_back(valueOf(argument, parameter));
        } catch (const std::invalid_argument& error) {
            reject(type.name, parameter, argument, error.what());
        }
        if (!host_.setProperty(instance, property->name, kept.owned.back()))
            throw UsageError(type.name + ": " + property->name + " cannot be set");
    }

    /// The instance's table has 18 places on each axis: colour values 17 apart, of which place 1 is 0, with
    /// one more place beyond either end.
    void fillTable(REALobjectStruct* instance, const WrittenArgument& argument) const {
        constexpr int places = 18;
        const Cube cube = fromFile([&] { return readCube(argument.text); });
        const auto level = [](int place) { return std::clamp((place - 1) * 17, 0, 255) / 255.0; };
        for (int r = 0; r < places; r++)
            for (int g = 0; g < places; g++)
                for (int b = 0; b < places; b++) {
                    const auto color = cube.at(level(r), level(g), level(b));
                    for (std::size_t x = 0; x < color.size(); x++) {  // an entry holds red, green, blue
                        // What is whole but for rounding is made whole: the plug-in truncates.
                        const double value = std::round(color[x] * 255e6) / 1e6;
                        host_.assign("Table", {instance, r, g, b, x}, value);
                    }
                }
    }

    Host& host_;
    const Limits limits_;
    Owned<REALpictureStruct> current_;
    std::optional<std::string> lastString_;  // the last call's result, when it was a string
};

void list(const Host& host) {
    std::cout << "Host " << host.settings.version << ", plug-in interface " << host.sdkVersion << '\n';
    const auto section = [](const std::string& title) { std::cout << '\n' << title << '\n'; };
    bool globals = false;
    for (const Registration& r : host.registrations()) {
        switch (r.kind) {
            case Registration::classType:
                section("Class " + r.name);
                break;
            case Registration::module:
                section("Module " + r.name);
                break;
            case Registration::extension:
                section("Extension of " + r.name);
                break;
            case Registration::method:  // told together where the first one is
                if (std::exchange(globals, true)) continue;
                section("Global methods");
                break;
        }
        for (const RegisteredProperty& p : r.properties) {
            std::cout << "  " << p.name << " as " << p.type;
            for (const auto& [name, value] : p.attributes)
                std::cout << "  [" << name << (value.empty() ? "" : " ") << value << ']';
            std::cout << '\n';
        }
        for (const Method& method : host.methods()) {
            if (method.owner != r.name) continue;
            std::cout << "  " << method.text();
            for (const auto& [name, value] : method.attributes)
                std::cout << "  [" << name << ' ' << value << ']';
            std::cout << '\n';
        }
        for (const RegisteredDelegate& d : r.delegates) std::cout << "  Delegate " << d.declaration << '\n';
    }
}

void switchDebuggingOn(Host& host) {
    bool found = false;
    for (const Registration& r : host.registrations())
        if (r.kind == Registration::module && r.property("Debugging"))
            found |= host.setProperty(r.name, "Debugging", true);
    if (!found) {
        std::ostringstream text;
        text << "--debug: on host version " << host.settings.version
             << " no Debugging property is registered";
        throw UsageError(text.str());
    }
}

/// The plug-in beside the running program.
path besideExecutable() {
    std::error_code error;
    const path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) throw UsageError("/proc does not tell where qkz is; say with --plugin where the plug-in is");
    return self.parent_path() / "libPictureQKZ.so";
}

int run(int argc, char** argv) {
    CLI::App app{"Runs the picture methods of the plug-in on picture files.", "qkz"};
    app.require_subcommand(1);
    app.fallthrough();
    std::string storageName = "cairo";
    double version = 0;
    bool debug = false;
    Limits limits;
    path plugin, file, output;
    std::vector<std::string> calls;
    app.add_option("--storage", storageName, "where pictures live; gd makes the host a console application")
        ->check(CLI::IsMember({"cairo", "gd", "pixmap"}));
    const auto* versionOption =
        app.add_option("--host-version", version, "the host's version (2024.0; with pixmaps 2016.0)")
            ->check(CLI::NonNegativeNumber);
    app.add_option("--max-pixels", limits.pixels, "refuse files of larger pictures (200000000)")
        ->check(CLI::Range(std::uint64_t{1}, Limits::mostPixels));
    app.add_flag("--debug", debug, "let the plug-in log to standard error");
    const auto* pluginOption =
        app.add_option("--plugin", plugin, "the plug-in; else libPictureQKZ.so beside qkz");
    app.add_subcommand("list", "prints everything that the plug-in registers");
    auto* info = app.add_subcommand("info", "prints a picture's size, alpha channel, storage and resolution");
    info->add_option("FILE", file, "a PNG, JPEG or .ppic file")->required();
    auto* run = app.add_subcommand("run", "calls methods, one after the other");
    run->add_option("FILE", file, "a PNG, JPEG or .ppic file")->required();
    run->add_option("CALL", calls,
                    "'InvertQKZ', 'InvertQKZ(10, 10, 200, 100)', 'MergePictureQKZ($, \"other.png\")', "
                    "'PictureSepiaQKZ(SepiaRed=40)', 'EmbeddedMaskQKZ(false) = \"mask.png\"'")
        ->required();
    const auto* outputOption =
        run->add_option("-o,--output", output, "where the picture (as PNG) or the last string goes");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }

    const Storage storage = storageName == "gd"       ? Storage::gd
                            : storageName == "pixmap" ? Storage::pixmap
                                                      : Storage::cairo;
    // Pixmaps are those of GTK 2, which newer hosts do not have.
    if (!*versionOption) version = storage == Storage::pixmap ? 2016.0 : 2024.0;
    if (storage == Storage::pixmap && !pixmapObstacle().empty())
        throw UsageError("--storage pixmap: " + pixmapObstacle());
    const std::string kind = output.extension().string();
    if (sameText(kind, ".jpg") || sameText(kind, ".jpeg"))
        throw UsageError(output.string() + ": pictures are written as PNG");
    Host host({.version = version,
               .app = storage == Storage::gd ? AppKind::console : AppKind::desktop,
               .storage = storage});
    fromFile([&] { host.load(*pluginOption ? plugin : besideExecutable()); });
    if (debug) switchDebuggingOn(host);
    if (app.got_subcommand("list")) {
        list(host);
        return 0;
    }
    Session session(host, limits);
    session.open(file);
    if (*info) session.info();
    for (const std::string& call : calls) {
        session.run(call);
        if (session.hasString() && (!*outputOption || &call != &calls.back()))
            std::cout << session.stringHead() << '\n';
    }
    if (*outputOption) session.save(output);
    return 0;
}

/// What `run` throws is told on standard error and becomes the exit status.
int runAndTell(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::ios_base::failure&) {  // of standard output
        throw;
    } catch (const UsageError& error) {
        std::cerr << "qkz: " << error.what() << '\n';
        return 2;
    } catch (const std::bad_alloc&) {
        std::cerr << "qkz: not enough memory\n";
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
    }
    return 1;
}

int main(int argc, char** argv) {
    std::cout.exceptions(std::ios::badbit);
    try {
        const int status = runAndTell(argc, argv);
        std::cout.flush();
        return status;
    } catch (const std::ios_base::failure&) {  // it does not tell why, but errno still does
        std::perror("qkz: standard output");
        return 1;
    }
}

}  // namespace
}  // namespace qkz

int main(int argc, char** argv) { return qkz::main(argc, argv); }
