#include <link.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <iostream>

#include "Soak.h"

// The leak detector fails over the thread-local data of many libraries; without them the loader and GLib
// leak. A writer's own buffer stays: compatibility.md#the-own-buffer-stays
// What GoogleTest keeps for a thread lasts as long as the process.
extern "C" const char* __lsan_default_options() { return "use_tls=0"; }
extern "C" const char* __lsan_default_suppressions() {
    return "leak:ld-linux-x86-64.so\nleak:libglib-2.0.so\nleak:PictureWriter::NewPictureWriterLinux\n"
           "leak:testing::internal::ThreadLocal";
}

namespace qkzsoak {
namespace {

/// What the scenes' processes tell this one.
struct Record {
    std::atomic<long> cases, findings;
    char what[300];
};
Record& record = *static_cast<Record*>(
    mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
std::string running;  // the scene

using Mode = void (*)(const Scene&);
const std::map<std::string, Mode> modes = {{"alloc", [](const Scene& scene) { failAsked(scene, true); }},
                                           {"faults", [](const Scene& scene) { failAsked(scene, false); }},
                                           {"storage", lieAboutStorage},
                                           {"arguments", giveExtremes},
                                           {"race", race},
                                           {"calls", endure}};

std::vector<Scene> scenesOf(Mode mode, std::uint64_t seed) {
    std::vector<std::string> functions{""};
    Host host;
    startPlugin(host);
    for (const Method& method : host.registry.methods())
        if (mode != endure) functions.push_back(method.text());
    std::vector<Scene> scenes;
    for (const StorageCase& storage : storages()) {
        for (const std::string& function : functions) {
            for (std::uint64_t i = 0; i < 4; ++i) {
                scenes.push_back({storage, function, 4 * seed + i});
                scenes.back().name = (function.empty() ? "the plug-in" : function) + " on " + storage.name;
            }
        }
    }
    std::shuffle(scenes.begin(), scenes.end(), std::mt19937_64(seed));
    return scenes;
}

/// Ends the process. What a suppression names is looked up in the file that was loaded, a copy that is gone
/// by now: it is there again while leaks are looked for.
[[noreturn]] void endWithoutLeaks() {
    int leaks = 0;
#ifdef __SANITIZE_ADDRESS__
    std::vector<std::filesystem::path> copies;
    const auto collect = [](dl_phdr_info* info, std::size_t, void* to) {
        const std::filesystem::path file = info->dlpi_name;
        if (file.filename().string().starts_with("plugin-") && !exists(file)) {
            static_cast<decltype(copies)*>(to)->push_back(file);
        }
        return 0;
    };
    dl_iterate_phdr(collect, &copies);
    for (const auto& copy : copies)
        create_symlink(absolute(std::filesystem::path(qkztest::pluginFile())), copy);
    leaks = __lsan_do_recoverable_leak_check();
    for (const auto& copy : copies) remove(copy);
#endif
    _exit(leaks == 0 ? 0 : 1);
}

/// In a process of its own: what it breaks is its own.
void run(Mode mode, const Scene& scene) {
    running = scene.name + ", seed " + std::to_string(scene.seed / 4);
    *record.what = 0;
    const pid_t child = fork();
    if (child == 0) {
        alarm(900);
        if (scene.storage.settings.storage != Storage::pixmap || pixmapObstacle().empty()) mode(scene);
        std::cout.flush();
        endWithoutLeaks();
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no new process");
    if (WIFSIGNALED(status)) finding("ends with signal " + std::to_string(WTERMSIG(status)));
    if (WIFEXITED(status) && status != 0) finding("ends with " + std::to_string(WEXITSTATUS(status)));
}

}  // namespace

void trying(const std::string& what) {
    ++record.cases;
    record.what[what.copy(record.what, sizeof record.what - 1)] = 0;
}

void finding(const std::string& what) {
    ++record.findings;
    std::cout << "FINDING " << running << ": " << record.what << ": " << what << std::endl;
}

}  // namespace qkzsoak

int main(int count, char** arguments) {
    using namespace qkzsoak;
    std::uint64_t seed = 1;
    double seconds = 0, share = 1;
    std::string only;
    CLI::App app("Tries to break the plug-in.");
    app.require_subcommand(1)->fallthrough();
    app.add_option("--seed", seed, "of order and values");
    app.add_option("--seconds", seconds, "for each mode: stop then, and go on until then with other values");
    app.add_option("--share", share, "this part of all scenes, another for each seed");
    app.add_option("--only", only, "scenes whose names have this text");
    app.add_subcommand("all");
    for (const auto& [name, mode] : modes) app.add_subcommand(name);
    CLI11_PARSE(app, count, arguments);

    bool sound = true;
    for (const auto& [name, mode] : modes) {
        if (!app.got_subcommand("all") && !app.got_subcommand(name)) continue;
        std::vector<Scene> scenes = scenesOf(mode, seed);
        std::erase_if(scenes, [&](const Scene& scene) { return scene.name.find(only) == only.npos; });
        scenes.resize(static_cast<std::size_t>(std::ceil(static_cast<double>(scenes.size()) * share)));
        record.cases = record.findings = 0;
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        std::size_t done = 0;
        for (; seconds > 0 ? std::chrono::steady_clock::now() < end : done < scenes.size(); ++done) {
            Scene& scene = scenes.at(done % scenes.size());
            run(mode, scene);
            scene.seed += 4;
        }
        std::cout << name << ": " << record.cases << " cases in " << done << " runs of " << scenes.size()
                  << " scenes, " << record.findings << " findings" << std::endl;
        sound = sound && record.findings == 0;
    }
    return sound ? 0 : 1;
}
