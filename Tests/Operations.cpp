#include "Operations.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace qkztest {
namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

std::string shown(const Cell& cell) {
    std::ostringstream text;
    std::visit(Overloaded{[&](std::monostate) { text << "nil"; }, [&](const Image& image) { text << image; },
                          [&](const Bytes& bytes) { text << bytes.size() << " bytes"; },
                          [&](const RaisedException& raised) { text << raised; },
                          [&](const auto& value) { text << Value(value); }},
               cell);
    return text.str();
}

OwnedPicture made(Host& host, const Image& image) {
    if (image.words.empty()) return Value(host.newInstance("Picture")).picture();  // never constructed
    const Storage usual = host.settings.storage;
    if (image.format == Format::xrgb) host.settings.storage = Storage::cairo;
    OwnedPicture picture = makePicture(host, image);
    host.settings.storage = usual;
    return picture;
}

Value toValue(Host& host, const Cell& cell) {
    return std::visit(
        Overloaded{[](std::monostate) { return Value(); },
                   [&](const Image& image) { return Value(made(host, image)); },
                   [&](const Bytes& bytes) { return Value(host.objects.newMemoryBlock(bytes)); },
                   [](const RaisedException&) -> Value { throw std::logic_error("no value"); },
                   [](const auto& value) { return Value(value); }},
        cell);
}

Cell toCell(Host& host, const Value& value) {
    if (value.isNil()) return {};
    if (const auto* integer = value.as<std::int64_t>()) return *integer;
    if (const auto* real = value.as<double>()) return *real;
    if (const auto* boolean = value.as<bool>()) return *boolean;
    if (const auto* color = value.as<Color>()) return *color;
    if (const auto* text = value.as<std::string>()) return *text;
    if (value.as<OwnedString>()) return host.objects.text(value.string());
    if (host.objects.classOf(value.object()) == "Picture") {
        return host.property(value.object(), "Width") ? readPicture(host, value.picture()) : Image{};
    }
    const auto bytes = host.objects.bytes(value.block());
    return Bytes(bytes.begin(), bytes.end());
}

bool isNaN(const Cell& cell) {
    const auto* real = std::get_if<double>(&cell);
    return real && *real != *real;
}

void expectSame(const Cell& actual, const Cell& expected, const std::string& what) {
    const auto *image = std::get_if<Image>(&actual), *wanted = std::get_if<Image>(&expected);
    if (image && wanted) {
        EXPECT_EQ(difference(*image, *wanted), "") << what;
    } else {
        EXPECT_TRUE(actual == expected || (isNaN(actual) && isNaN(expected)))
            << what << " is " << shown(actual) << " instead of " << shown(expected);
    }
}

}  // namespace

void checkOperation(Host& host, const Operation& operation, const Image& picture, const Cells& arguments) {
    std::string trace = std::string(operation.method) + '(';
    for (const Cell& cell : arguments) trace += (trace.ends_with('(') ? "" : ", ") + shown(cell);
    SCOPED_TRACE(trace + ") of " + shown(picture));

    const Census before = host.objects.census();
    {
        const Value self = toValue(host, picture);
        std::deque<Value> variables;  // a value each, whether or not it is passed by reference
        std::vector<Value> given{self};
        for (const Cell& cell : arguments) variables.push_back(toValue(host, cell));
        const Method* method = nullptr;
        if (!operation.call) {
            const Methods methods = host.registry.find(operation.method);
            method = chooseOverload(methods, 1 + arguments.size(), [](const Method&) {}).method;
            ASSERT_TRUE(method);
        }
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            given.push_back(method && method->parameters()[1 + i].byref ? Value(&variables[i])
                                                                        : variables[i]);
        }

        const Value result = method ? host.invoke(*method, given) : operation.call(host, given);
        Image expectedPicture = picture;
        Cells expected = arguments;
        const Cell answer = operation.answer(expectedPicture, expected);
        const auto raised = host.exceptions.take();
        expectSame(raised ? Cell(*raised) : toCell(host, result), answer, "the result");
        EXPECT_TRUE(!raised || result.isNil() || !result.as<OwnedObject>());
        expectSame(toCell(host, self), expectedPicture, "the picture itself");
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            expectSame(toCell(host, variables[i]), expected[i], "argument " + std::to_string(i + 1));
        }
    }
    EXPECT_EQ(host.objects.census(), before);
}

void checkOperation(Host& host, const Operation& operation, const StorageCase& storage, int rounds) {
    constexpr int sizes[][2] = {{1, 1},   {1, 7},  {9, 1},   {64, 3}, {5, 4},
                                {33, 17}, {4, 40}, {131, 2}, {557, 2}};
    for (const auto& [width, height] : sizes) {
        for (int round = 0; round < rounds; ++round) {
            Random random(static_cast<std::uint64_t>(width * 1000 + round));
            Image picture = randomImage(random, storage.format, storage.alpha, width, height);
            if (operation.prepare) operation.prepare(random, picture);
            checkOperation(host, operation, picture, operation.arguments(random, picture));
            if (testing::Test::HasFatalFailure() || testing::Test::HasNonfatalFailure()) return;
        }
    }
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> result;
        for (const auto& topic : {invertOperations, colorOperations, channelOperations, classOperations,
                                  lookingOperations, movingOperations}) {
            const auto rows = topic();
            result.insert(result.end(), rows.begin(), rows.end());
        }
        return result;
    }();
    return all;
}

const Operation& operationOf(std::string_view label) {
    for (const Operation& each : operations())
        if (each.label == label) return each;
    throw std::logic_error("no such operation");
}

Image opaque(const Image& like, int width, int height) {
    return Image{like.format == Format::argb ? Format::xrgb : like.format, false}.blank(width, height);
}

Image painted(const Image& source, Image target, const std::function<Rgba(int x, int y)>& f) {
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            Rgba p = f(x, y);
            p.a = target.format == Format::gd ? 0 : 255;
            target.set(x, y, p);
        }
    }
    return target;
}

Image mapped(const Image& source, Image target, const std::function<Rgba(const Rgba&)>& f) {
    return painted(source, std::move(target), [&](int x, int y) { return f(source.at(x, y)); });
}

std::int64_t integer(const Cells& cells, std::size_t i) { return std::get<std::int64_t>(cells[i]); }

Rectangle rectangleOf(const Image& image, const Cells& cells, std::size_t left,
                      const std::function<bool(std::int64_t)>& whole) {
    __extension__ using Wide = __int128;
    const auto start = [&](std::size_t i, int size) {
        return static_cast<int>(std::clamp<std::int64_t>(integer(cells, i), 0, size));
    };
    const auto end = [&](std::size_t i, int size) {
        const std::int64_t length = integer(cells, i + 2);
        const Wide sum = Wide{integer(cells, i)} + (whole(length) ? size : length);
        return static_cast<int>(std::clamp<Wide>(sum, 0, size));
    };
    return {start(left, image.width), start(left + 1, image.height), end(left, image.width),
            end(left + 1, image.height)};
}

int truncatedTo32(double value) {
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return fits ? static_cast<int>(value) : std::numeric_limits<int>::min();
}

int byteOf(std::int64_t value) { return static_cast<int>(std::clamp<std::int64_t>(value, 0, 255)); }

Cells noArguments(Random&, const Image&) { return {}; }

Cells rectangleArguments(Random& random, const Image& image) {
    Cells cells{random.coordinate(image.width), random.coordinate(image.height),
                random.coordinate(image.width), random.coordinate(image.height)};
    // Where rows of three-byte pixels are padded, what lies behind a row's end is anything.
    if (image.format == Format::rgb && image.width % 4 != 0) cells[0] = std::int64_t{-random.below(4)};
    return cells;
}

}  // namespace qkztest
