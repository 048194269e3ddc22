// qkz: runs the plug-in's methods on picture files.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "Attempt.h"
#include "Batch.h"
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

/// What there is to say of a picture file. Of a packed picture only its pixels tell.
void printInfo(Session& session, const path& file, const Limits& limits, Storage storage) {
    PictureHeader header;
    if (file.extension() == ".ppic") {
        session.open(file);
        header = session.header();
    } else {
        header = fromFile([&] { return readHeader(file, limits); });
    }
    if (storage == Storage::pixmap && header.alpha) storage = Storage::cairo;
    const char* storages[] = {"Cairo", "GD", "pixmap"};
    std::cout << header.width << " x " << header.height << " pixels, " << (header.alpha ? "with" : "without")
              << " alpha channel, " << storages[static_cast<int>(storage)] << ", " << header.resolution[0]
              << " x " << header.resolution[1] << " dpi\n";
}

int run(int argc, char** argv) {
    CLI::App app{"Runs the picture methods of the plug-in on picture files.", "qkz"};
    app.require_subcommand(1);
    app.fallthrough();
    std::string storageName = "cairo";
    double version = 0;
    bool debug = false;
    Limits limits;
    Work work;
    BatchOptions batch;
    path plugin, file, output;
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
    const char* const files = "PNG, JPEG, WebP, TIFF, GIF, BMP, HEIC or .ppic; - is standard input";
    info->add_option("FILE", file, files)->required();
    auto* run =
        app.add_subcommand("run", "calls methods, one after the other, on one file or each of several");
    run->add_option("FILE", file, files)->required();
    run->add_option("CALL", work.calls,
                    "'InvertQKZ', 'InvertQKZ(10, 10, 200, 100)', 'MergePictureQKZ($, \"other.png\")', "
                    "'PictureSepiaQKZ(SepiaRed=40)', 'EmbeddedMaskQKZ(false) = \"mask.png\"'")
        ->required();
    const auto* outputOption = run->add_option(
        "-o,--output", output,
        "where the picture or the last string goes: .png, .jpg, .webp, .tif, .ppic; - is standard "
        "output; of several files with {name}, as in out/{name}.png");
    run->add_option("--compression", work.encoding.compression, "of PNG, 0 to 9 (6); of TIFF, 0 for none")
        ->check(CLI::Range(0, 9));
    run->add_option("--quality", work.encoding.quality, "of JPEG and WebP, 1 to 100 (90)")
        ->check(CLI::Range(1, 100));
    run->add_option("--jobs", batch.jobs, "so many files at a time (1)")->check(CLI::Range(1, 256));
    run->add_flag("--force", batch.force, "with {name}: write over files that are there");
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
    if (*info) {
        printInfo(session, file, limits, storage);
        return 0;
    }
    work.files.push_back(file);
    if (*outputOption) work.output = output;
    sortOutFiles(session, work);
    check(session, work);
    if (work.files.size() > 1 || output.string().find("{name}") != std::string::npos) {
        if (storage == Storage::pixmap && batch.jobs > 1) {
            throw UsageError("--storage pixmap: one job, as there is one display");
        }
        return doFiles(host, limits, work, batch);
    }
    // Standard output is for the picture: what is printed goes beside it.
    if (output == "-") std::cout.rdbuf(std::cerr.rdbuf());
    doFile(session, work, file, work.output);
    return 0;
}

int main(int argc, char** argv) {
    std::cout.exceptions(std::ios::badbit);
    try {
        int status = 0;
        std::ostringstream error;
        const int failed = attempt(error, [&] { status = run(argc, argv); });
        if (failed) std::cerr << "qkz: " << error.str() << '\n';
        std::cout.flush();
        return failed ? failed : status;
    } catch (const std::ios_base::failure&) {  // it does not tell why, but errno still does
        std::perror("qkz: standard output");
        return 1;
    }
}

}  // namespace
}  // namespace qkz

int main(int argc, char** argv) { return qkz::main(argc, argv); }
