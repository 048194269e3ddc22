// The picture operations' second computation: one table of methods, each with random arguments and a naive
// answer, run over random pictures in every storage.
#pragma once

#include <variant>

#include "Support.h"

namespace qkztest {

/// An argument, a result, or what a variable passed by reference holds after the call. Nil is the first;
/// an exception is a result. An image of no size is a picture that cannot be read.
using Cell = std::variant<std::monostate, std::int64_t, double, bool, Color, std::string, Image, Bytes,
                          RaisedException>;
using Cells = std::vector<Cell>;

struct Operation {
    const char* label;   // unique, of letters, digits and underscores
    const char* method;  // by which name it is called
    /// The arguments after the picture; pictures among them have its storage.
    Cells (*arguments)(Random&, const Image& picture);
    /// The answer. What the method changes (the picture itself, variables passed by reference) is changed
    /// in place; everything that is left alone here must be the same after the call.
    Cell (*answer)(Image& picture, Cells& arguments);
    /// What is called with the picture and the arguments, when it is not simply the method.
    Value (*call)(Host&, const std::vector<Value>& given) = nullptr;
    /// Makes of a random picture one of which the method has something to tell.
    void (*prepare)(Random&, Image& picture) = nullptr;
};
inline void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.label; }

/// Every operation, from the tables of each topic.
const std::vector<Operation>& operations();
const Operation& operationOf(std::string_view label);
std::vector<Operation> invertOperations();
std::vector<Operation> colorOperations();
std::vector<Operation> channelOperations();
std::vector<Operation> classOperations();
std::vector<Operation> lookingOperations();
std::vector<Operation> movingOperations();

/// Calls the method with one set of arguments and compares all that there is to compare.
void checkOperation(Host&, const Operation&, const Image& picture, const Cells& arguments);
/// The same over `rounds` random pictures and arguments of each of a number of sizes.
void checkOperation(Host&, const Operation&, const StorageCase&, int rounds);

std::int64_t integer(const Cells& cells, std::size_t i);
/// The part within the image of the rectangle left, top, width, height in the cells, computed without
/// overflow: a start below 0 is cut off after the end has been computed. `whole(length)` tells which lengths
/// mean the image's.
Rectangle rectangleOf(const Image&, const Cells&, std::size_t left,
                      const std::function<bool(std::int64_t)>& whole);
inline bool isNegative(std::int64_t length) { return length < 0; }

/// What InvertQKZ makes of the picture.
Image inverted(Image);

/// Arguments that are often used.
Cells noArguments(Random&, const Image&);
/// left, top, width, height: inside, outside, extreme.
Cells rectangleArguments(Random&, const Image&);

/// The picture that operations make when they look at nothing but a size: without alpha.
Image opaque(const Image& like, int width, int height);
inline Image opaque(const Image& like) { return opaque(like, like.width, like.height); }
/// Writes f(x, y) of every place that the source has, opaque.
Image painted(const Image& source, Image target, const std::function<Rgba(int x, int y)>& f);
/// Writes f(pixel) of the source's colours as they are stored, opaque.
Image mapped(const Image& source, Image target, const std::function<Rgba(const Rgba&)>& f);
/// Toward zero; what 32 bits do not hold, and not a number, give the smallest integer.
int truncatedTo32(double);
/// Clamped to 0..255.
int byteOf(std::int64_t);

}  // namespace qkztest
