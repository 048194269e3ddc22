// What each generation of the host gets registered: the lists in Tests/catalogue.
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Support.h"

namespace qkztest {
namespace {

std::string hexadecimal(std::uint32_t number) {
    std::ostringstream text;
    text << "0x" << std::hex << number;
    return text.str();
}

std::string textOf(const Attributes& attributes) {
    std::string text;
    for (const auto& [name, value] : attributes) text.append(", ").append(name).append(1, '=').append(value);
    return text;
}

std::string accessor(const char* name, const void* address, int offset) {
    const bool standard = reinterpret_cast<std::intptr_t>(address) == -1;
    return std::string(address ? ", " : ", no ") + name + (standard ? " at " + std::to_string(offset) : "");
}

/// Adds a registration as lines, one for each thing in it. A loose global method is one line only.
void describe(const Registration& r, Lines& lines) {
    constexpr const char* kinds[] = {"class", "module", "extension"};
    const std::string indent = r.kind == Registration::method ? "" : "    ";
    if (r.kind != Registration::method) {
        lines.push_back(kinds[r.kind] + (' ' + r.name) + ": flags " + hexadecimal(r.flags) + ", version " +
                        std::to_string(r.version) + (r.superName.empty() ? "" : ", super " + r.superName) +
                        (r.dataSize ? ", " + std::to_string(r.dataSize) + " bytes" : "") +
                        (r.constructor ? ", constructor" : "") + (r.destructor ? ", destructor" : ""));
    }
    for (const RegisteredMethod& m : r.methods) {
        lines.push_back(indent + "method " + hexadecimal(m.flags) + ": " + m.declaration +
                        (m.function ? "" : ", no function") + (m.setterFunction ? ", assign" : "") +
                        textOf(m.attributes));
    }
    for (const RegisteredProperty& p : r.properties) {
        lines.push_back(indent + "property " + hexadecimal(p.flags) + ": " + p.name + " as " + p.type +
                        (p.group.empty() ? "" : ", group " + p.group) + accessor("get", p.getter, p.param) +
                        accessor("set", p.setter, p.param) + textOf(p.attributes));
    }
    for (const RegisteredDelegate& d : r.delegates)
        lines.push_back(indent + "delegate " + hexadecimal(d.flags) + ": " + d.declaration);
    if (!r.sharedMethods.empty() || !r.sharedProperties.empty()) lines.push_back(indent + "shared");
}

/// Compares what was registered with a list, line by line; a failure shows the lines that differ. With
/// QKZ_WRITE_CATALOGUE in the environment the list is written first.
void expectList(const Host& host, const std::string& generation) {
    Lines expected, registered;
    for (const Registration& r : host.registry.registrations()) describe(r, registered);
    const std::string path = QKZ_CATALOGUE "/" + generation + ".txt";
    if (std::getenv("QKZ_WRITE_CATALOGUE")) {
        std::ofstream list(path);
        for (const std::string& line : registered) list << line << '\n';
    }
    std::ifstream file(path);
    ASSERT_TRUE(file.is_open()) << generation;
    for (std::string line; std::getline(file, line);) expected.push_back(line);
    if (registered != expected) {
        ADD_FAILURE() << "- in catalogue/" << generation << ".txt, + registered\n"
                      << testing::internal::edit_distance::CreateUnifiedDiff(expected, registered, 1)
                      << "As it should be? QKZ_WRITE_CATALOGUE=1 ctest --preset release -R Registration";
    }
}

struct VersionCase {
    double version;
    int sdk;
    const char* generation;
};
void PrintTo(const VersionCase& c, std::ostream* out) { *out << c.version; }

class Registrations : public testing::TestWithParam<VersionCase> {};

TEST_P(Registrations, AreThoseOfTheHostsVersion) {
    const auto [version, sdk, generation] = GetParam();
    Plugin host({.version = version});
    EXPECT_EQ(host.sdkVersion, sdk);
    EXPECT_EQ(host.faults.asked("REALGetRBVersion"), 1);
    expectList(host, generation);
}

INSTANTIATE_TEST_SUITE_P(Versions, Registrations,
                         testing::Values(VersionCase{0.0, 9, "2009"}, VersionCase{2009.05, 9, "2009"},
                                         VersionCase{2010.028, 9, "2009"}, VersionCase{2010.029, 9, "2012"},
                                         VersionCase{2011.99, 9, "2012"}, VersionCase{2012.0, 10, "2012"},
                                         VersionCase{2013.0, 11, "2019"}, VersionCase{2013.03, 12, "2019"},
                                         VersionCase{2013.039, 12, "2019"}, VersionCase{2013.04, 13, "2019"},
                                         VersionCase{2019.03, 13, "2019"}, VersionCase{2020.01, 13, "2019"},
                                         VersionCase{2020.02, 13, "2024"}, VersionCase{2024.0, 13, "2024"},
                                         VersionCase{3000.0, 13, "3000"}),
                         [](const auto& param) {
                             return "Host" +
                                    std::to_string(static_cast<int>(param.param.version * 1000 + 0.5));
                         });

TEST(Registration, HostThatDoesNotTellItsVersionIsAnOldOne) {
    Plugin host({.answersVersion = false});
    EXPECT_EQ(host.sdkVersion, 9);
    expectList(host, "2009");
}

TEST(Registration, MissingServicesLoseOnlyTheirOwn) {
    const struct {
        double version;
        const char* missing;
        std::size_t registered;
    } cases[] = {{2024.0, "PluginRegisterClass", 3},  // of 2 classes and 3 modules
                 {2012.0, "PluginRegisterClass", 7},  // of 2 classes, an extension and 6 methods
                 {2012.0, "PluginRegisterClassExtension", 8},
                 {2012.0, "PluginRegisterMethod", 3}};
    for (const auto& c : cases) {
        Plugin host({.version = c.version}, {c.missing});
        EXPECT_EQ(host.registry.registrations().size(), c.registered) << c.version << ' ' << c.missing;
    }
}

TEST(Registration, DebuggingPropertiesAreOneSwitch) {
    Plugin host;
    const char *first = "iOSPictureQKZ", *second = "PicturePictureExtensionQKZ";
    for (const bool on : {true, false}) {
        EXPECT_TRUE(host.setProperty(on ? first : second, "Debugging", on));
        EXPECT_EQ(host.property(first, "Debugging"), Value(on));
        EXPECT_EQ(host.property(second, "Debugging"), Value(on));
    }
}

TEST(Registration, iOSMethodsRaise) {
    Plugin host;
    int count = 0;
    for (const Method& method : host.registry.methods()) {
        if (method.owner != "iOSPictureQKZ") continue;
        const Value result = host.invoke(method, std::vector<Value>(method.declaration.parameters.size()));
        EXPECT_EQ(host.exceptions.take(), (RaisedException{"PlatformNotSupportedException", "iOS only", 0}));
        EXPECT_EQ(result, method.declaration.result == Type::boolean ? Value(false) : Value())
            << method.text();
        ++count;
    }
    EXPECT_EQ(count, 7);
}

}  // namespace
}  // namespace qkztest
