// qkz: runs the plug-in's methods on picture files.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <new>
#include <sstream>

#include "Listing.h"
#include "Session.h"

namespace qkz {
namespace {

using namespace qkzhost;
using std::filesystem::path;

void switchDebuggingOn(Host& host) {
    bool found = false;
    for (const Registration& r : host.registry.registrations()) {
        if (r.kind == Registration::module && r.property("Debugging")) {
            found |= host.setProperty(r.name, "Debugging", true);
        }
    }
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
    if (storage == Storage::pixmap && !pixmapObstacle().empty()) {
        throw UsageError("--storage pixmap: " + pixmapObstacle());
    }
    const std::string kind = output.extension().string();
    if (sameText(kind, ".jpg") || sameText(kind, ".jpeg")) {
        throw UsageError(output.string() + ": pictures are written as PNG");
    }
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
        const auto string = session.stringHead();
        if (string && (!*outputOption || &call != &calls.back())) std::cout << *string << '\n';
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
