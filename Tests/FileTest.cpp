// The shared object as a file: what it exports and needs, how it is linked, and what it does when started.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "Support.h"

namespace qkztest {
namespace {

using Names = std::set<std::string>;

std::string elf(const std::string& what) {
    return runCommand("readelf --wide --" + what + " '" + pluginFile() + "'").text;
}

/// What the expression's group matches in the text.
Names found(const std::string& text, const char* expression) {
    const std::regex pattern(expression);
    Names names;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
        names.insert((*match)[1]);
    return names;
}

TEST(File, ExportsFourSymbols) {
    // number: value size type bind visibility section name
    EXPECT_EQ(found(elf("dyn-syms"), R"( (?:GLOBAL|WEAK) +DEFAULT +\d+ (\S+))"),
              (Names{"REALPluginMain", "PluginEntry", "libEntry", "elf_interpreter"}));
}

TEST(File, NamesItsInterpreterAndVersion) {
    EXPECT_NE(elf("program-headers").find("[Requesting program interpreter: /lib64/ld-linux-x86-64.so.2]"),
              std::string::npos);
    std::ifstream file(pluginFile(), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(content.find(std::string("$$ Plugin version: 24.5 (2024) $$") + '\0'), std::string::npos);
}

TEST(File, CallsItsOwnFunctionsWithoutTheHostsHelp) {
    // A name of ours here could be bound to another plug-in's function.
    EXPECT_EQ(found(elf("relocs"),
                    R"(R_X86_64_(?:JUMP_SLOT|GLOB_DAT|64).* (REALPluginMain|PluginEntry|libEntry)\b)"),
              Names{});
    const std::string dynamic = elf("dynamic"), headers = elf("program-headers");
    EXPECT_EQ(found(dynamic, R"(\((RPATH|RUNPATH|TEXTREL)\))"), Names{});
    EXPECT_EQ(found(dynamic, R"(\(FLAGS\)\s+(.*BIND_NOW))").size(), 1u) << dynamic;
    EXPECT_EQ(found(headers, R"((GNU_RELRO))").size(), 1u) << headers;
    EXPECT_EQ(found(headers, R"(GNU_STACK( +\S+){5} (\S*E\S*))"), Names{});
    EXPECT_EQ(found(headers, R"((GNU_STACK))").size(), 1u) << headers;
}

#ifndef QKZ_SANITIZED

TEST(File, LoadsWithGlibc2Point17) {
    const Names needed = found(elf("dynamic"), R"(\(NEEDED\).*\[(.*)\])");
    const Names allowed{"libc.so.6", "libm.so.6", "libdl.so.2", "libgcc_s.so.1", "ld-linux-x86-64.so.2"};
    EXPECT_TRUE(std::ranges::includes(allowed, needed)) << testing::PrintToString(needed);
    EXPECT_TRUE(needed.contains("libdl.so.2")) << "older systems have dlopen there";
    const std::string versions = elf("version-info");
    EXPECT_TRUE(found(versions, R"(Name: (GLIBC_\S+))").contains("GLIBC_2.2.5"));
    for (const std::string& minor : found(versions, R"(Name: GLIBC_2\.(\d+))"))
        EXPECT_LE(std::stoi(minor), 17);
    for (const std::string& version : found(versions, R"(Name: (\S+))"))
        EXPECT_TRUE(version.starts_with("GLIBC_2.") || version.starts_with("GCC_")) << version;
    EXPECT_LE(*found(versions, R"(Name: (GCC_\S+))").rbegin(), "GCC_4.2.0");
}

#ifdef NDEBUG

TEST(File, IsStripped) { EXPECT_EQ(found(elf("section-headers"), R"((\.symtab|\.debug_info))"), Names{}); }

#endif

TEST(File, StartedAsAProgramPrintsItsBanner) {
    const Outcome outcome = runCommand("'" + pluginFile() + "'");
    EXPECT_EQ(outcome.text, "QKZ Plugin, version 24.5, built Nov 11 2024\n");
    EXPECT_EQ(outcome.status, 0);
}

#endif

}  // namespace
}  // namespace qkztest
