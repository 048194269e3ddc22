// qkz: runs the plug-in's methods on picture files.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "Attempt.h"
#include "Batch.h"
#include "CommandLine.h"
#include "Gallery.h"
#include "Help.h"
#include "Listing.h"
#include "RealText.h"
#include "Session.h"
#include "Truth.h"

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

/// A file beside the running program.
path besideExecutable(const char* name, const char* remedy) {
    std::error_code error;
    const path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) throw UsageError(std::string("/proc does not tell where qkz is; ") + remedy);
    return self.parent_path() / name;
}

/// What there is to say of a picture file. Of a packed picture only its pixels tell.
void printInfo(Session& session, const path& file, const Limits& limits, Storage storage) {
    PictureHeader header;
    if (isPacked(file)) {
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

/// A version as hosts have them.
std::string isVersion(const std::string& text) {
    const auto value = realFromText(text);
    return value && *value >= 0 && *value < 10000 ? "" : text + " is no version such as 2024.0";
}

const char* const examples = R"(Examples:
  qkz run photo.jpg InvertQKZ -o negative.png
  qkz run photo.jpg 'ChangeContrast(0.4)' 'PictureSepia(SepiaRed=40, SepiaGreen=20)' -o old.png
  qkz run photo.jpg 'Threshold(128)' 'ReplaceColor(#000000, #274C5A)' -o poster.png
  qkz run photo.jpg 'MergePicture($, "other.png")' -o both.png     $ is the current picture
  qkz run photo.jpg 'InvertQKZ(left=100, top=100, width=50, height=50)' -o part.png
  qkz run *.jpg 'ChangeContrast(0.2)' -o out/{name}.png --jobs 2              many files
  qkz test scan.png 'isGray(5)' && echo gray
  qkz help ChangeContrast                     what a method does, with its parameters
  qkz list mask                               methods that have to do with masks
  qkz gallery out photo.jpg                   every method on your photograph, as a page

A method's name may be written without its QKZ. Calls stand in single quotes, for the shell's sake.)";

/// `failure` becomes the exit status that a failed call has for the command that is run.
int run(int argc, char** argv, int& failure) {
    CLI::App app{"Runs the picture methods of the plug-in on picture files.", "qkz"};
    app.require_subcommand(1);
    app.fallthrough();
    std::string storageName = "cairo";
    double version = 0;
    bool debug = false;
    Limits limits;
    Work work;
    BatchOptions batch;
    path plugin, file, output, folder;
    std::string word;
    app.add_option("--storage", storageName, "where pictures live; gd makes the host a console application")
        ->check(CLI::IsMember({"cairo", "gd", "pixmap"}));
    const auto* versionOption =
        app.add_option("--host-version", version, "the host's version (2024.0; with pixmaps 2016.0)")
            ->check(isVersion);
    app.add_option("--max-pixels", limits.pixels, "refuse files of larger pictures (200000000)")
        ->check(CLI::Range(std::uint64_t{1}, Limits::mostPixels));
    app.add_flag("--debug", debug, "let the plug-in log to standard error");
    const auto* pluginOption =
        app.add_option("--plugin", plugin, "the plug-in; else libPictureQKZ.so beside qkz");
    app.set_version_flag("--version", "qkz " QKZ_VERSION, "print the version and exit");
    app.get_help_ptr()->description("print how it is used and exit");
    auto* listing = app.add_subcommand("list", "prints everything that the plug-in registers");
    const auto* searched = listing->add_option("WORD", word, "a line for what has it in its name or meaning");
    auto* helping = app.add_subcommand("help", "prints what the help says of a method, a class or a member");
    const auto* helped =
        helping->add_option("NAME", word, "case does not matter; QKZ may be left out; or a command");
    app.add_subcommand("describe", "for the manual page and the completion")->group("");
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
    auto* test =
        app.add_subcommand("test", "answers by its exit status: 0 for true, 1 for false, 2 for neither");
    test->add_option("FILE", file, files)->required();
    test->add_option("CALL", work.calls, "as of run; the last one says true or false, as 'isGrayQKZ(5)' does")
        ->required();
    bool verbose = false;
    test->add_flag("-v,--verbose", verbose, "print what the calls print, too");
    auto* showing = app.add_subcommand("gallery", "makes a page of pictures: every method on a photograph");
    showing->add_option("FOLDER", folder, "where index.html and the pictures go")->required();
    showing->add_option("PHOTO", file, "a picture file; else a sample");
    app.footer(examples);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        throw UsageError(misuse(app, error));
    }
    if (*test) failure = 2;  // 1 is an answer
    if (*helping && !*helped) {
        std::cout << app.get_formatter()->make_help(&app, "qkz", CLI::AppFormatMode::Normal);
        return 0;
    }
    for (const CLI::App* command : app.get_subcommands([&](CLI::App* c) { return c->check_name(word); })) {
        if (!*helping) break;
        std::cout << command->help("qkz");
        return 0;
    }
    if (*searched) {
        search(word, isatty(STDOUT_FILENO) ? terminalWidth() : std::string::npos, std::cout);
        return 0;
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
    fromFile([&] {
        host.load(*pluginOption
                      ? plugin
                      : besideExecutable("libPictureQKZ.so", "say with --plugin where the plug-in is"));
    });
    if (debug) switchDebuggingOn(host);
    if (*listing) {
        list(host, std::cout);
        return 0;
    }
    if (app.got_subcommand("describe")) {
        describe(app, host, std::cout);
        return 0;
    }
    if (*helping) {
        explaining([&] { help(host, word, terminalWidth(), std::cout); });
        return 0;
    }
    if (*showing) {
        if (file.empty()) file = besideExecutable("sample.jpg", "name a photograph");
        makeGallery(host, limits, folder, file);
        return 0;
    }
    if (*test) return truth(host, limits, file, work.calls, verbose) ? 0 : 1;
    Session session(host, limits);
    if (*info) {
        printInfo(session, file, limits, storage);
        return 0;
    }
    work.files.push_back(file);
    if (*outputOption) work.output = output;
    work.whole = debug || storage == Storage::pixmap;  // one call is one in the log; a display has one thread
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
    doFile(host, limits, work, file, work.output);
    return 0;
}

int main(int argc, char** argv) {
    int failure = 1;
    std::cout.exceptions(std::ios::badbit);
    try {
        int status = 0;
        std::ostringstream error;
        const int failed = attempt(
            error, [&] { status = run(argc, argv, failure); }, failure);
        if (failed) std::cerr << "qkz: " << error.str() << '\n';
        std::cout.flush();
        return failed ? failed : status;
    } catch (const std::ios_base::failure&) {  // it does not tell why, but errno still does
        std::perror("qkz: standard output");
        return failure;
    }
}

}  // namespace
}  // namespace qkz

int main(int argc, char** argv) { return qkz::main(argc, argv); }
