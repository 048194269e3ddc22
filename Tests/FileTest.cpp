// The shared object as a file: what it exports and needs, and what it does when it is started.
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "Support.h"

namespace qkztest {
namespace {

/// What a command prints, and its exit status.
std::pair<std::string, int> run(const std::string& command) {
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return {"", -1};
    std::string text;
    char buffer[4096];
    while (const std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
    const int status = pclose(pipe);
    return {text, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

TEST(File, ExportsFourSymbols) {
    std::istringstream text(run("readelf --wide --dyn-syms " QKZ_PLUGIN).first);
    std::set<std::string> exported;
    for (std::string line; std::getline(text, line);) {
        std::istringstream words(line);
        const std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
        // number: value size type bind visibility section name
        if (fields.size() == 8 && fields[0] != "Num:" && fields[6] != "UND") exported.insert(fields[7]);
    }
    EXPECT_EQ(exported,
              (std::set<std::string>{"REALPluginMain", "PluginEntry", "libEntry", "elf_interpreter"}));
}

TEST(File, NamesItsInterpreterAndVersion) {
    EXPECT_NE(run("readelf --wide --program-headers " QKZ_PLUGIN)
                  .first.find("[Requesting program interpreter: /lib64/ld-linux-x86-64.so.2]"),
              std::string::npos);
    std::ifstream file(QKZ_PLUGIN, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(content.find(std::string("$$ Plugin version: 24.5 (2024) $$") + '\0'), std::string::npos);
}

#ifndef QKZ_SANITIZED

TEST(File, NeedsTheCLibraryOnly) {
    std::istringstream text(run("readelf --wide --dynamic " QKZ_PLUGIN).first);
    const std::set<std::string> allowed{"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2"};
    int count = 0;
    for (std::string line; std::getline(text, line);) {
        if (line.find("(NEEDED)") == std::string::npos) continue;
        const std::size_t start = line.find('[') + 1;
        EXPECT_TRUE(allowed.contains(line.substr(start, line.find(']') - start))) << line;
        count++;
    }
    EXPECT_GT(count, 0);
}

TEST(File, StartedAsAProgramPrintsItsBanner) {
    EXPECT_EQ(run("'" QKZ_PLUGIN "'"),
              std::pair(std::string("QKZ Plugin, version 24.5, built Nov 11 2024\n"), 0));
}

#endif

}  // namespace
}  // namespace qkztest
