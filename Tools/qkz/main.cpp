// qkz: runs the plug-in's methods on picture files.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
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

/// What a command line says.
struct Arguments {
    std::string storage = "cairo";
    std::optional<double> version;
    bool debug = false, verbose = false;
    Limits limits;
    Work work;
    BatchOptions batch;
    std::optional<path> plugin;
    path file, folder;
    std::string word;
};

void addGlobalOptions(CLI::App& app, Arguments& to) {
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--storage", to.storage, "where pictures live; gd makes the host a console application")
        ->check(CLI::IsMember({"cairo", "gd", "pixmap"}));
    app.add_option("--host-version", to.version, "the host's version (2024.0; with pixmaps 2016.0)")
        ->check(isVersion);
    app.add_option("--max-pixels", to.limits.pixels, "refuse files of larger pictures (200000000)")
        ->check(CLI::Range(std::uint64_t{1}, Limits::mostPixels));
    app.add_flag("--debug", to.debug, "let the plug-in log to standard error")->disable_flag_override();
    app.add_option("--plugin", to.plugin, "the plug-in; else libPictureQKZ.so beside qkz");
    app.set_version_flag("--version", "qkz " QKZ_VERSION, "print the version and exit");
    app.get_help_ptr()->description("print how it is used and exit");
}

void addCommands(CLI::App& app, Arguments& to) {
    const char* const files = "PNG, JPEG, WebP, TIFF, GIF, BMP, HEIC or .ppic; - is standard input";
    auto* listing = app.add_subcommand("list", "prints everything that the plug-in registers");
    listing->add_option("WORD", to.word, "a line for what has it in its name or meaning");
    auto* helping = app.add_subcommand("help", "prints what the help says of a method, a class or a member");
    helping->add_option("NAME", to.word, "case does not matter; QKZ may be left out; or a command");
    app.add_subcommand("describe", "for the manual page and the completion")->group("");
    auto* info = app.add_subcommand("info", "prints a picture's size, alpha channel, storage and resolution");
    info->add_option("FILE", to.file, files)->required();

    auto* run =
        app.add_subcommand("run", "calls methods, one after the other, on one file or each of several");
    run->add_option("FILE", to.file, files)->required();
    run->add_option("CALL", to.work.calls,
                    "'InvertQKZ', 'InvertQKZ(10, 10, 200, 100)', 'MergePictureQKZ($, \"other.png\")', "
                    "'PictureSepiaQKZ(SepiaRed=40)', 'EmbeddedMaskQKZ(false) = \"mask.png\"'")
        ->required();
    run->add_option(
        "-o,--output", to.work.output,
        "where the picture or the last string goes: .png, .jpg, .webp, .tif, .ppic; - is standard "
        "output; of several files with {name}, as in out/{name}.png");
    run->add_option("--compression", to.work.encoding.compression, "of PNG, 0 to 9 (6); of TIFF, 0 for none")
        ->check(CLI::Range(0, 9));
    run->add_option("--quality", to.work.encoding.quality, "of JPEG and WebP, 1 to 100 (90)")
        ->check(CLI::Range(1, 100));
    run->add_option("--jobs", to.batch.jobs, "so many files at a time (1)")->check(CLI::Range(1, 256));
    run->add_flag("--force", to.batch.force, "with {name}: write over files that are there")
        ->disable_flag_override();

    auto* test =
        app.add_subcommand("test", "answers by its exit status: 0 for true, 1 for false, 2 for neither");
    test->add_option("FILE", to.file, files)->required();
    test->add_option("CALL", to.work.calls,
                     "as of run; the last one says true or false, as 'isGrayQKZ(5)' does")
        ->required();
    test->add_flag("-v,--verbose", to.verbose, "print what the calls print, too")->disable_flag_override();

    auto* gallery = app.add_subcommand("gallery", "makes a page of pictures: every method on a photograph");
    gallery->add_option("FOLDER", to.folder, "where index.html and the pictures go")->required();
    gallery->add_option("PHOTO", to.file, "a picture file; else a sample");
    app.footer(examples);  // not before: the commands would have it, too
}

/// Does what wants no plug-in; false when that is nothing.
bool performedAlone(const CLI::App& app, const Arguments& arguments) {
    if (app.got_subcommand("help")) {
        if (arguments.word.empty()) {
            std::cout << app.get_formatter()->make_help(&app, "qkz", CLI::AppFormatMode::Normal);
            return true;
        }
        const auto named =
            app.get_subcommands([&](const CLI::App* c) { return c->check_name(arguments.word); });
        if (!named.empty()) std::cout << named.front()->help("qkz");
        return !named.empty();
    }
    if (!app.got_subcommand("list") || arguments.word.empty()) return false;
    search(arguments.word, isatty(STDOUT_FILENO) ? terminalWidth() : std::string::npos, std::cout);
    return true;
}

/// Calls methods on the files that the command line names.
int runFiles(Host& host, const Arguments& arguments) {
    Work work = arguments.work;
    const bool onDisplay = host.settings.storage == Storage::pixmap;
    work.files.push_back(arguments.file);
    work.whole = arguments.debug || onDisplay;  // one call is one in the log; a display has one thread
    Session session(host, arguments.limits);
    sortOutFiles(session, work);
    check(session, work);
    if (work.files.size() > 1 || isPattern(work.output)) {
        if (onDisplay && arguments.batch.jobs > 1) {
            throw UsageError("--storage pixmap: one job, as there is one display");
        }
        return doFiles(host, arguments.limits, work, arguments.batch);
    }
    // Standard output is for the picture: what is printed goes beside it.
    if (work.output == "-") std::cout.rdbuf(std::cerr.rdbuf());
    doFile(host, arguments.limits, work, arguments.file, work.output);
    return 0;
}

/// Returns the exit status.
int perform(const CLI::App& app, const Arguments& arguments) {
    const Storage storage = arguments.storage == "gd"       ? Storage::gd
                            : arguments.storage == "pixmap" ? Storage::pixmap
                                                            : Storage::cairo;
    if (storage == Storage::pixmap && !pixmapObstacle().empty()) {
        throw UsageError("--storage pixmap: " + pixmapObstacle());
    }
    // Pixmaps are those of GTK 2, which newer hosts do not have.
    Host host({.version = arguments.version.value_or(storage == Storage::pixmap ? 2016.0 : 2024.0),
               .app = storage == Storage::gd ? AppKind::console : AppKind::desktop,
               .storage = storage});
    fromFile([&] {
        host.load(arguments.plugin
                      ? *arguments.plugin
                      : besideExecutable("libPictureQKZ.so", "say with --plugin where the plug-in is"));
    });
    if (arguments.debug) switchDebuggingOn(host);
    const path& file = arguments.file;
    if (app.got_subcommand("run")) return runFiles(host, arguments);
    if (app.got_subcommand("test")) {
        return truth(host, arguments.limits, file, arguments.work.calls, arguments.verbose) ? 0 : 1;
    }
    if (app.got_subcommand("list")) {
        list(host, std::cout);
    } else if (app.got_subcommand("describe")) {
        describe(app, host, std::cout);
    } else if (app.got_subcommand("help")) {
        explaining([&] { help(host, arguments.word, terminalWidth(), std::cout); });
    } else if (app.got_subcommand("gallery")) {
        makeGallery(host, arguments.limits, arguments.folder,
                    file.empty() ? besideExecutable("sample.jpg", "name a photograph") : file);
    } else {
        Session session(host, arguments.limits);
        printInfo(session, file, arguments.limits, storage);
    }
    return 0;
}

/// `failure` becomes the exit status that a failed call has for the command that is run.
int run(int argc, char** argv, int& failure) {
    CLI::App app{"Runs the picture methods of the plug-in on picture files.", "qkz"};
    Arguments arguments;
    addGlobalOptions(app, arguments);
    addCommands(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        throw UsageError(misuse(app, error));
    }
    if (app.got_subcommand("test")) failure = 2;  // 1 is an answer
    return performedAlone(app, arguments) ? 0 : perform(app, arguments);
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
