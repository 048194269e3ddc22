// Calls one after the other on a current picture.
#pragma once

#include <deque>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CallSyntax.h"
#include "Host.h"
#include "PictureFiles.h"

namespace qkz {

/// A call failed; the text is for standard error.
struct CallFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A method gave nil, or a class's Run false; the text says what it was given.
struct NilResult : CallFailure {
    NilResult(std::string itsMethod, const std::string& text)
        : CallFailure(text), method(std::move(itsMethod)) {}
    std::string method;  // of a class with the class and a dot
};

/// Nothing that can be called has the name.
struct UnknownName : UsageError {
    UnknownName(std::string itsName, const std::string& text) : UsageError(text), name(std::move(itsName)) {}
    std::string name;
};

/// What a file function throws is told as an error of the command line.
template <class F>
auto fromFile(F function) {
    try {
        return function();
    } catch (const CallFailure&) {
        throw;
    } catch (const TooManyPixels& error) {
        throw UsageError(error.what() + std::string("; --max-pixels allows more"));
    } catch (const std::runtime_error& error) {
        throw UsageError(error.what());
    }
}

/// Whether the name is one of a packed picture, as PicturetoBinaryStringQKZ makes them.
bool isPacked(const std::filesystem::path&);

/// What becomes of a call: the current picture is another or has changed, or there is a string, or neither.
enum class Gives { value, picture, string };

/// Throws UsageError for what is wrong with the command line and its files, CallFailure for what a call
/// raised or did not give.
class Session {
 public:
    /// What calls print goes to `out`.
    Session(qkzhost::Host& host, const Limits& limits, std::ostream& out = std::cout)
        : host_(host), limits_(limits), out_(out) {}

    /// Throws UsageError for what is wrong with a written call, as far as that shows without its files. A
    /// method that changes the current picture and gives a value is told by the value.
    Gives check(const std::string& text);
    /// Whether a method or a class has the name, which may lack its suffix.
    bool knows(const std::string& name) const;

    /// Reads the current picture.
    void open(const std::filesystem::path&);
    /// Takes a picture of the host's for the current one.
    void open(qkzhost::OwnedPicture picture) { current_ = std::move(picture); }
    const qkzhost::OwnedPicture& picture() const { return current_; }
    /// Of the current picture.
    PictureHeader header() const;
    /// A number that changes with the pixels of the current picture.
    std::size_t fingerprint() const;
    /// Does a written call. A picture that comes of it becomes the current one, a string is kept, and
    /// anything else is printed, as are the variables passed by reference.
    void run(const std::string& text);
    /// Writes the last call's string, or the current picture.
    void save(const std::filesystem::path&, const Encoding& = {}) const;
    /// The last call's string, or nothing when its result was none.
    const std::optional<std::string>& string() const { return lastString_; }
    /// Its beginning.
    std::optional<std::string> stringHead() const;
    /// The last call's result, when it was true or false.
    const std::optional<bool>& truth() const { return lastTruth_; }

 private:
    /// The values of a call's arguments.
    struct Prepared {
        struct Variable {
            qkzhost::Value value;
            std::string name;
            const WrittenArgument* argument;
        };
        std::vector<qkzhost::Value> values;
        std::deque<Variable> variables;  // passed by reference
    };

    qkzhost::Value valueOf(const WrittenArgument&, const qkzhost::Parameter&) const;
    Prepared prepare(const qkzhost::Method&, const std::vector<WrittenArgument>&) const;
    bool registered(std::string_view name) const;
    WrittenCall read(const std::string& text) const;
    qkzhost::Methods candidates(const WrittenCall&) const;
    const qkzhost::Method& choose(const WrittenCall&, const std::vector<WrittenArgument>&, Prepared&) const;
    void runMethod(const WrittenCall&);
    [[noreturn]] void unknown(const WrittenCall&) const;
    void runClass(const qkzhost::Registration&, const WrittenCall&);
    bool isTable(const WrittenArgument&) const;
    void checkClass(const qkzhost::Registration&, const WrittenCall&) const;
    qkzhost::Value propertyValue(const qkzhost::Registration&, const WrittenArgument&) const;
    void checkException(const std::string& name = "") const;
    void deliver(const qkzhost::Method&, const Prepared&, const qkzhost::Value& result);
    bool isCurrent(const qkzhost::Value&) const;
    std::string given(const qkzhost::Method&, const Prepared&) const;
    std::string shown(const qkzhost::Value&) const;
    void show(const Prepared&) const;

    qkzhost::Host& host_;
    const Limits limits_;
    std::ostream& out_;
    qkzhost::OwnedPicture current_;
    KeptMetadata metadata_;                  // of the file that it came from
    bool checking_ = false;                  // nothing is read
    std::optional<std::string> lastString_;  // the last call's result, when it was a string
    std::optional<bool> lastTruth_;
};

}  // namespace qkz
