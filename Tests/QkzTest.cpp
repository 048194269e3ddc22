// The command line.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "PictureFileSupport.h"
#include "PictureFiles.h"
#include "Support.h"

namespace {

using qkztest::Argb;
using qkztest::Outcome;
using qkztest::readArgb;
using qkztest::runCommand;
using qkztest::writeArgb;

using namespace qkz;
using std::filesystem::path;

Outcome command(const std::string& arguments, const std::string& before = "",
                const std::string& after = "2>&1") {
    return runCommand(before + "\"" QKZ_BINARY "\" " + arguments + ' ' + after);
}

class Qkz : public testing::Test {
 protected:
    void SetUp() override {
        std::filesystem::create_directories(folder);
        for (int i = 0; i < 12; ++i)
            photo.words.push_back(0xFF000000u | static_cast<std::uint32_t>(i * 0x050A14));
        writeArgb(photo, in);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    /// A command that ends with the status and tells the text, as an error unless the status is 0.
    void fails(const std::string& arguments, const std::string& text, int status = 2,
               const std::string& before = "") const {
        const Outcome outcome = command(arguments + plugin, before);
        EXPECT_EQ(outcome.status, status) << arguments;
        EXPECT_EQ(("\n" + outcome.text).find("\nqkz: ") != std::string::npos, status != 0) << arguments;
        EXPECT_NE(outcome.text.find(text), std::string::npos) << arguments << '\n' << outcome.text;
    }

    const path folder = path(testing::TempDir()) / ("qkz" + std::to_string(getpid()));
    const path in = folder / "in.png", out = folder / "out.png";
    const std::string plugin = " --plugin \"" + qkztest::pluginFile() + "\" ";
    Argb photo{4, 3, false, {}};
};

TEST_F(Qkz, RunsCallsOneAfterTheOther) {
    for (const char* storage : {"cairo", "gd"}) {
        const std::string run =
            "run " + in.string() + plugin + "--storage " + storage + " -o " + out.string();
        EXPECT_EQ(command(run + " 'InvertQKZ(1, 1, 2, 9223372036854775807)'").status, 0);
        Argb expected = photo;
        for (std::size_t i = 0; i < 12; ++i) {
            expected.words[i] =
                i % 4 == 1 || i % 4 == 2 ? i < 4 ? 0xFF000000 : photo.words[i] ^ 0xFFFFFF : 0xFF000000;
        }
        EXPECT_EQ(readArgb(out).words, expected.words) << storage;
        EXPECT_EQ(command(run + " InvertQKZ 'invertqkz (\n0,0\t,-1,-1 )'").status, 0);
        EXPECT_EQ(readArgb(out).words, photo.words) << storage;
    }
}

TEST_F(Qkz, KeepsAlpha) {
    photo.alpha = true;
    photo.words[0] = 0x80FF4000;
    writeArgb(photo, in);
    EXPECT_EQ(command("run " + in.string() + plugin + "InvertQKZ InvertQKZ -o " + out.string()).status, 0);
    EXPECT_TRUE(readArgb(out).alpha);
    EXPECT_EQ(readArgb(out).words[0] >> 24, 0x80u);
    EXPECT_EQ(readArgb(out).words[5], photo.words[5]);
    EXPECT_EQ(command("info " + in.string() + plugin).text,
              "4 x 3 pixels, with alpha channel, Cairo, 72 x 72 dpi\n");
}

TEST_F(Qkz, RefusesSizesThatTheDataCannotHold) {
    using namespace std::string_literals;
#ifdef QKZ_SANITIZED
    const std::string littleMemory;  // the sanitizers' own counts, too
#else
    // One arena: the C library does not survive that a thread finds no room for another of its arenas.
    const std::string littleMemory = "export MALLOC_ARENA_MAX=1; ulimit -v 400000; ";
#endif
    const auto png = [](const std::string& header) {
        return "\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s + header + "\0\0\0\x08IDAT12345678"s;
    };
    const auto jpeg = [](const std::string& frame) {
        return "\xFF\xD8"s + frame + "\0\x11\x08\x17\x70\x75\x30\3\1\x11\0\2\x11\0\3\x11\0"s +
               "\xFF\xDA\0\x0C\3\1\0\2\0\3\0\0\x3F\0"s;
    };
    const auto refuses = [&](const char* name, const std::string& bytes, const std::string& text,
                             const std::string& options = "") {
        writeFile(folder / name, bytes.data(), bytes.size());
        fails("run " + (folder / name).string() + " isWhiteQKZ" + options, text, 2, littleMemory);
    };
    refuses("a.png", png("\0\0\x75\x30\0\0\x17\x70\x08\2\0\0\0\xfa\x34\x38\x4d"s), "a.png: is damaged");
    refuses("a.jpg", jpeg("\xFF\xC0"), "a.jpg: is damaged");
    refuses("a.jpg", jpeg("\xFF\xC9"), "a.jpg: is damaged");  // arithmetic codes
    refuses("a.ppic", "PPIC\0\0\0\x28\0\0\x75\x30\0\0\x17\x70"s, "too short for 30000 x 6000 pixels");
    refuses("a.png", png("\0\0\x80\0\0\0\0\1\x08\0\0\0\0\xa2\x5d\xc5\xf4"s), "longer than 32767 pixels");
    const std::string large = png("\0\0\x4e\x20\0\0\x27\x11\1\0\0\0\0\x1a\x03\xa6\xaa"s);
    refuses("a.png", large, "20000 x 10001 pixels are more than 200000000; --max-pixels allows more");
    refuses("a.png", large, "is damaged", " --max-pixels 200020000");
}

TEST_F(Qkz, ReadsNoFurtherThanItMust) {
    for (const auto& [name, start, reason] : {std::tuple{"a.ppic", path(), "not a packed picture"},
                                              {"a.png", path(), "is no PNG, JPEG, WebP, TIFF"},
                                              {"b.png", in, "4 x 3 pixels"}}) {
        const std::string fifo = (folder / name).string();
        ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        fails("info --max-pixels 12 " + fifo, reason, start.empty() ? 2 : 0,
              "yes | head -c 99999999 | cat " + start.string() + " - >" + fifo + " & ");
    }
}

TEST_F(Qkz, ReplacesAFileWholeOrNotAtAll) {
    const path link = folder / "link.png", dangling = folder / "new.png", made = folder / "made.png";
    create_symlink(path("in.png"), link);
    create_symlink(path("made.png"), dangling);
    permissions(in, std::filesystem::perms(0604));
    const auto old = readFile(in);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{0, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    for (const path& target : {in, link, dangling}) {
        std::string reason;
        setrlimit(RLIMIT_FSIZE, &full);
        try {
            writeFile(target, "a", 1);
        } catch (const std::runtime_error& error) {
            reason = error.what();
        }
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(reason, target.string() + ": File too large");
    }
    EXPECT_EQ(readFile(in), old);
    EXPECT_FALSE(exists(made));

    const mode_t mask = umask(027);
    for (const path& target : {link, dangling})
        EXPECT_EQ(command("run " + in.string() + plugin + "InvertQKZ -o " + target.string()).status, 0);
    umask(mask);
    EXPECT_TRUE(is_symlink(link) && is_symlink(dangling));
    EXPECT_EQ(readArgb(in).words[0], 0xFFFFFFFF);
    EXPECT_EQ(readArgb(made).words, photo.words);
    EXPECT_EQ(status(in).permissions(), std::filesystem::perms(0604));
    EXPECT_EQ(status(made).permissions(), std::filesystem::perms(0640));
    const std::filesystem::directory_iterator all(folder);
    EXPECT_EQ(std::distance(begin(all), end(all)), 4) << "something is left over";
}

TEST_F(Qkz, WritesIntoAPipe) {
    const path fifo = folder / "fifo.png";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string reader = "timeout 20 cat " + fifo.string() + " >" + out.string() + " & ";
    command("run " + in.string() + plugin + "InvertQKZ -o " + fifo.string(), reader, "2>&1; wait");
    EXPECT_TRUE(is_fifo(fifo));
    EXPECT_EQ(readArgb(out).words[0], 0xFFFFFFFF);
}

TEST_F(Qkz, TellsWhenStandardOutputIsFull) {
    const path log = folder / "log";
    std::ofstream(log).close();
    std::filesystem::resize_file(log, 32 << 20);  // the limit, which leaves room for a copy of the plug-in
    for (const std::string& arguments : {std::string("list"), std::string("--help"), "info " + in.string()}) {
        const Outcome full =
            command(arguments + plugin, "trap '' XFSZ; ulimit -f 65536; ", "2>&1 >>" + log.string());
        EXPECT_EQ(full.text, "qkz: standard output: File too large\n") << arguments;
        EXPECT_EQ(full.status, 1) << arguments;
    }
}

/// Ends this process with what the command tells and its status, where the kernel refuses as the rules say.
template <std::size_t Count>
void endUnder(sock_filter (&rules)[Count], const std::string& arguments) {
    const sock_fprog program{Count, rules};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) std::_Exit(99);
    const Outcome outcome = command(arguments);
    std::fputs(outcome.text.c_str(), stderr);
    std::_Exit(outcome.status);
}

TEST_F(Qkz, ManagesWithoutProc) {
    sock_filter noLinks[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                             BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_readlink, 0, 1),
                             BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOENT),
                             BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    EXPECT_EXIT(endUnder(noLinks, "--help"), testing::ExitedWithCode(0), "Usage: qkz");
    EXPECT_EXIT(endUnder(noLinks, "list"), testing::ExitedWithCode(2), "qkz: .*say with --plugin");
    EXPECT_EXIT(endUnder(noLinks, "list" + plugin), testing::ExitedWithCode(0), "");
}

TEST_F(Qkz, ReplacesAFileWhereNoneCanBeNameless) {
    sock_filter noNameless[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_openat, 0, 3),
                                BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
                                BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_TMPFILE & ~O_DIRECTORY, 0, 1),
                                BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
                                BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const std::string run = "run " + in.string() + plugin + "InvertQKZ -o " + in.string();
    EXPECT_EXIT(endUnder(noNameless, run), testing::ExitedWithCode(0), "");
    EXPECT_EQ(readArgb(in).words[0], 0xFFFFFFFF);
    EXPECT_EXIT(endUnder(noNameless, "--max-pixels 11 " + run), testing::ExitedWithCode(2), "more than 11");
    const std::filesystem::directory_iterator all(folder);
    EXPECT_EQ(std::distance(begin(all), end(all)), 1) << "something is left over";
}

TEST_F(Qkz, RunsClassesGlobalMethodsAndAssignments) {
    // A table that keeps red only, and a picture of what it leaves.
    std::ofstream(folder / "red.cube") << "TITLE \"red\"\nLUT_3D_SIZE 2\n\n"
                                          "0 0 0\n1 0 0\n0 0 0\n1 0 0\n0 0 0\n1 0 0\n0 0 0\n1 0 0\n";
    photo.words.assign(12, 0xFFEEEEEE);
    photo.words[0] = 0xFF000000;
    writeArgb(photo, in);
    Argb red = photo;
    for (std::uint32_t& argb : red.words) argb &= 0xFFFF0000;
    writeArgb(red, folder / "red.png");
    const auto quoted = [this](const char* name) { return '"' + (folder / name).string() + '"'; };
    const struct {
        std::string call;
        std::uint32_t first, second;
    } cases[] = {{"PictureSepiaQKZ(SepiaRed=40, SepiaGreen=20)", 0xFF281400, 0xFFFFFFED},
                 {"PictureLut3DQKZ(Table=" + quoted("red.cube") + ")", 0xFF000000, 0xFFEE0000},
                 {"CombinePicturesQKZ($, " + quoted("red.png") + ", $)", 0xFF000000, 0xFFEEEE00},
                 {"MergePictureQKZ(" + quoted("red.png") + ", $)", 0xFF000000, 0xFFEEEEEE},
                 {"ReplaceColorQKZ(&cEEEEEE, &c010203)", 0xFF000000, 0xFF010203},
                 {"EmbeddedMaskQKZ(true) = " + quoted("red.png"), 0xFF0000FF, 0xFFEEEE11}};
    for (const auto& c : cases) {
        const Outcome outcome =
            command("run " + in.string() + plugin + '\'' + c.call + "' -o " + out.string());
        ASSERT_EQ(outcome.status, 0) << c.call << outcome.text;
        EXPECT_EQ(readArgb(out).words[0], c.first) << c.call;
        EXPECT_EQ(readArgb(out).words[1], c.second) << c.call;
    }
    fails("run " + in.string() + " 'PictureSepiaQKZ(SepiaBlu=1)'",
          "qkz: PictureSepiaQKZ has no property SepiaBlu; the nearest: SepiaBlue, SepiaRed, SepiaGreen\n");
}

TEST_F(Qkz, TakesCallsAsPeopleWriteThem) {
    const std::pair<const char*, const char*> same[] = {
        {"InvertQKZ(1, 1, 2, 1)", "invert(height=1, left=1, width=2, top=1)"},
        {"InvertQKZ(1, 1, 2, 1)", "Invert(1, 1, height=1, width=2)"},
        {"ChangeContrastQKZ(0.5, 0, 0)", "ChangeContrast(ContrastRed=0.5, ContrastGreen=0, ContrastBlue=0)"},
        {"ReplaceColorQKZ(&c000000, &c12ABef)", "ReplaceColor(#000000, #12ABEF)"},
        {"ScrollVerticalQKZ(1, true, false)", "ScrollVertical(1, Yes, 0)"},
        {"ScrollVerticalQKZ(1, false, false)", "ScrollVertical(1, scrollmask=no, wrap=No)"},
        {"EmbeddedMaskQKZ(true) = $", "EmbeddedMask(swap=1) = $"},
        {"PictureSepiaQKZ(SepiaRed=9)", "pictureSepia(SepiaRed=9)"}};
    const std::string begin = "run " + in.string() + plugin, end = "' -o " + out.string();
    for (const auto& [strict, free] : same) {
        ASSERT_EQ(command(begin + '\'' + strict + end).status, 0);
        const Argb expected = readArgb(out);
        const Outcome outcome = command(begin + '\'' + free + end);
        EXPECT_EQ(outcome.status, 0) << free << outcome.text;
        EXPECT_EQ(readArgb(out).words, expected.words) << free;
    }
    // The default of StartX stands between arguments that are given.
    EXPECT_EQ(command(begin + "'FindPicture($, x, y, StartY=1)'").text, "false\nx = 0\ny = 0\n");
}

TEST_F(Qkz, ChangesStripsAsItDoesWholePictures) {
    photo = {61, 83, true, {}};
    for (std::uint32_t i = 0; i < 61 * 83; ++i) photo.words.push_back(i * 2654435761u);
    photo.words[61 * 40] = 0xFF102030;
    writeArgb(photo, in);
    const path whole = folder / "whole.png";
    for (const char* calls :
         {"'ChangeBrightnessAbsolute(0.3)'", "'ChangeBrightnessLinear(0.3, -0.2, 0)'",
          "'ChangeContrastBrightnessAbsolute(0.3, 0.1)'", "'ChangeContrastBrightnessLinear(0.3, -0.1)'",
          "'ChangeContrast(0.3, 0, -0.3)'", "'ChangeCustom(1.5, -20)'", "'ChangeSaturation(40)'",
          "'ExtractColor(#102030, #FF0000, #00FF00)'", "InvertGray", "Invert 'Threshold(100)'",
          "'PictureSepia(SepiaRed=40, FactorBlue=0.9)'", "'PictureSepia(MinY=20, MaxX=30)'",
          "'ReplaceColor(#102030, #FFFFFF)'", "'TintPicture($, #102030, #C08040)'",
          "'Invert(left=3, top=5, width=20, height=60)'"}) {
        const std::string run = "run " + in.string() + plugin + calls + " -o ";
        ASSERT_EQ(command(run + out.string()).text, "") << calls;
        ASSERT_EQ(command("--debug " + run + whole.string()).status, 0) << calls;  // never in strips
        EXPECT_EQ(readFile(out), readFile(whole)) << calls;
    }
#ifndef QKZ_SANITIZED
    // 32 MB as a whole, and as much again for the result.
    vips::VImage::black(4000, 2000).write_to_file(in.c_str());
    const std::string run = "run " + in.string() + plugin + "Invert 'Threshold(100)' -o " + out.string();
    const auto endAsBig = [](const std::string& arguments) {
        command(arguments);
        rusage used{};
        getrusage(RUSAGE_CHILDREN, &used);
        std::_Exit(used.ru_maxrss < 75'000 ? 0 : 1);
    };
    EXPECT_EXIT(endAsBig(run), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(endAsBig("--debug " + run), testing::ExitedWithCode(1), "");
#endif
}

TEST_F(Qkz, AnswersByItsStatus) {
    const std::tuple<const char*, int, const char*> cases[] = {
        {"'isGray(255)'", 0, ""},
        {"InvertQKZ isGrayQKZ", 1, ""},
        {"-v 'FindPicture($, x, y)'", 0, "true\nx = 0\ny = 0\n"},
        {"isGray Invert", 2, "qkz: Invert says neither true nor false"},
        {"'MergePicture($, nil)'", 2, "qkz: MergePictureQKZ returned nil."},
        {"'ReplaceRedChannel(nil)'", 2, "qkz: ReplaceRedChannelQKZ raised NilObjectException: "},
        {"", 2, "qkz: CALL is required"}};
    for (const auto& [calls, status, text] : cases) {
        const Outcome outcome = command("test " + in.string() + plugin + calls);
        EXPECT_EQ(outcome.status, status) << calls;
        EXPECT_TRUE(outcome.text.starts_with(text) && (*text || outcome.text.empty())) << outcome.text;
    }
}

TEST_F(Qkz, HasWordsOnEverything) {
    std::istringstream offer(command("describe" + plugin).text);
    int calls = 0;
    for (std::string line; std::getline(offer, line);) {
        EXPECT_NE(line.back(), '\t') << "nothing is said of it: " << line;
        calls += line.starts_with("call\t");
    }
    EXPECT_GT(calls, 35);
    const std::pair<const char*, const char*> helps[] = {
        {"changecontrast", "  Picture.ChangeContrastQKZ(Contrast as double) as picture\n"},
        {"FindPictureQKZ", "  Tolerance as Integer"},
        {"RenderSamples", "Default: &c274C5A\n"},
        {"Picture.EmbeddedMask", "- Assigning changes blue, not transparency."},
        {"MergePictureQKZ", "If it fails\n  Nil when one is Nil"},
        {"SepiaRed", "PictureSepiaQKZ.SepiaRed, property of PictureSepiaQKZ\n"},
        {"PictureLut3D.table", "\n  PictureLut3DQKZ.Table(r as UInt32"},
        {"run", "Usage: qkz run "},
        {"", "qkz gallery out photo.jpg"}};
    for (const auto& [name, text] : helps) {
        const std::string page = command(std::string("help ") + plugin + name).text;
        EXPECT_NE(page.find(text), std::string::npos) << name << '\n' << page;
    }
    EXPECT_EQ(command("help info" + plugin).text.find("Examples:"), std::string::npos) << "those of run";
    std::istringstream page(command("help InvertGray" + plugin).text);
    for (std::string line; std::getline(page, line);) EXPECT_LE(line.size(), 80u) << line;

    EXPECT_EQ(
        command("list NEGATIVE" + plugin).text.find("ChangeBrightnessLinearQKZ  Makes a picture lighter"),
        0u);
    fails("list zzzz", "nothing has \"zzzz\" in its name or meaning; qkz list shows everything");
    fails("help sepia", "there is no help on sepia; the nearest: PictureSepiaQKZ");
}

TEST_F(Qkz, MakesAGalleryWhereEveryTileShowsSomething) {
    photo = {300, 1000, false, {}};
    for (int i = 0; i < photo.width * photo.height; ++i) {
        const auto x = static_cast<std::uint32_t>(i % 300), y = static_cast<std::uint32_t>(i / 300);
        photo.words.push_back(0xFF000000 | (x * 255 / 299) << 16 | (y * 255 / 999) << 8 | (x + y) % 256);
    }
    writeArgb(photo, in);
    const std::string gallery = "gallery " + (folder / "g").string() + ' ' + in.string();
    for (int again = 0; again < 2; ++again) {
        const Outcome outcome = command(gallery + plugin);
        ASSERT_EQ(outcome.status, 0) << outcome.text;
    }
    std::ifstream page(folder / "g/index.html");
    const std::string text{std::istreambuf_iterator<char>(page), {}};
    std::size_t tiles = 0;
    for (std::size_t at = 0; (at = text.find(" src=\"", at)) != text.npos; ++tiles) {
        at += 6;
        const path name = text.substr(at, text.find('"', at) - at);
        const Argb image = readArgb(folder / "g" / name);
        EXPECT_LE(image.height, 480) << name;
        const auto differs = [&](std::uint32_t argb) { return argb != image.words.front(); };
        EXPECT_TRUE(std::ranges::any_of(image.words, differs)) << name << " shows nothing";
    }
    EXPECT_GT(tiles, 36u);
    for (const char* told : {"returned nil", "raised", "there is no", "No such file"}) {
        EXPECT_EQ(text.find(told), text.npos) << told;
    }
    std::ofstream(folder / "g/index.html") << "<title>My own page</title>";
    fails(gallery, "g/index.html is another page and stays as it is; name another folder");
}

TEST_F(Qkz, LeavesWhatALookUpTableDoesNotChange) {
    std::ofstream table(folder / "same.cube");
    table << "LUT_3D_SIZE 33\n" << std::fixed;
    for (int i = 0; i < 33 * 33 * 33; ++i)
        table << i % 33 / 32.0 << ' ' << i / 33 % 33 / 32.0 << ' ' << i / 33 / 33 / 32.0 << '\n';
    table.close();
    photo = {255, 1, false, {}};  // white is not among what the class leaves
    for (std::uint32_t i = 0; i < 255; ++i)
        photo.words.push_back(0xFF000000 | i << 16 | (i * 7 % 255) << 8 | (254 - i));
    writeArgb(photo, in);
    const std::string call = "'PictureLut3DQKZ(Table=\"" + (folder / "same.cube").string() + "\")'";
    EXPECT_EQ(command("run " + in.string() + plugin + call + " -o " + out.string()).text, "");
    EXPECT_EQ(readArgb(out).words, photo.words);
}

TEST_F(Qkz, DoesManyFiles) {
    const path made = folder / "made";
    create_directory(made);
    const auto file = [this](const char* name) { return (folder / name).string(); };
    std::string files;
    for (const char* name : {"a.png", "Invert c.png", "d.png", "e.png"}) {
        std::filesystem::copy_file(in, file(name));
        files += " '" + file(name) + "'";
    }
    std::filesystem::resize_file(file("d.png"), 60);
    const std::string run = "run" + files + " ",
                      output = " -o '" + (made / "{name}.jpg").string() + "' --jobs 2";
    const Outcome first = command(run + "InvertQKZ isWhiteQKZ" + output + plugin);
    EXPECT_EQ(first.status, 2);
    EXPECT_NE(first.text.find(file("Invert c.png") + ": false\n"), std::string::npos) << first.text;
    EXPECT_NE(first.text.find("3 of 4 files done in "), std::string::npos) << first.text;
    EXPECT_NE(first.text.find("; 1 failed:\n  " + file("d.png") + ": is damaged"), std::string::npos)
        << first.text;
    EXPECT_EQ(first.text.find(" left"), std::string::npos) << "progress, though there is no terminal";
    EXPECT_EQ(readArgb(made / "Invert c.jpg").width, 4);
    EXPECT_FALSE(exists(made / "d.jpg"));
    writeFile(made / "a.jpg", "mine", 4);
    remove(made / "e.jpg");
    fails(run + "InvertQKZ" + output, "a.jpg is there already; --force writes over it");
    EXPECT_TRUE(exists(made / "e.jpg")) << "the rest is done all the same";
    EXPECT_EQ(file_size(made / "a.jpg"), 4u);
    fails(run + "InvertQKZ --force" + output, "3 of 4 files done");
    EXPECT_EQ(readArgb(made / "a.jpg").width, 4);
    const std::string pictures = "run" + files + " InvertQKZ -o ";
    fails(pictures + file("x.png"), "several files want {name} in -o");
    fails(pictures + file("no/{name}.png"), "no: there is no such folder");
    fails("run " + file("a.png") + " made/a.png InvertQKZ -o " + file("{name}.jpg"),
          "would be written twice");
    command("run a.png 'Invert c.png' InvertQKZ -o '{name}, {name}.jpg'" + plugin,
            "cd " + folder.string() + "; ");
    EXPECT_TRUE(exists(folder / "Invert c, Invert c.jpg")) << "a file's name may begin like a call";
    EXPECT_EQ(command("run" + files + plugin + "isWhiteQKZ", "rm " + file("d.png") + "; ").status, 2);
}

TEST_F(Qkz, StandsInAPipeline) {
    const Outcome piped = command("run - 'ScrollQKZ(1, 0, true, true)' -o - " + plugin,
                                  "cat " + in.string() + " | ", "2>/dev/null >" + out.string());
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(readArgb(out).words[1], photo.words[0]);
}

TEST_F(Qkz, ListsWhatTheHostGets) {
    const auto lists = [this](const char* version, const char* text) {
        return command(std::string("list") + plugin + "--host-version " + version).text.find(text) !=
               std::string::npos;
    };
    const char* invert =
        "  Picture.InvertQKZ(left as integer, top as integer, width as integer, height as integer) as "
        "picture\n";
    for (const char* version : {"2012.0", "2024.0", "3000"}) EXPECT_TRUE(lists(version, invert)) << version;
    EXPECT_TRUE(lists("2024.0", "\nModule PicturePictureExtensionQKZ\n  Debugging as Boolean  [Hidden]\n"));
    EXPECT_TRUE(lists("2012.0", "\nExtension of Picture\n"));
    EXPECT_FALSE(lists("2020.01", "iOSPictureQKZ"));
}

TEST_F(Qkz, SwitchesTheLogOn) {
    const std::string info = "info " + in.string() + " --debug --host-version ";
    EXPECT_EQ(command(info + "2024" + plugin).status, 0);
    fails(info + "2012", "qkz: --debug: on host version 2012 no Debugging property is registered\n");
}

TEST_F(Qkz, TellsWhatIsWrong) {
    std::ofstream(folder / "empty.png").put('x');
    const std::string file = in.string(), half = (folder / "half.png").string(),
                      none = (folder / "no.png").string();
    std::filesystem::copy_file(in, half);
    std::filesystem::resize_file(half, file_size(in) - 30);
    const std::pair<std::string, std::string> cases[] = {
        {"run " + file + " InverQKZ", "there is no method InverQKZ; the nearest: InvertQKZ"},
        {"run " + file + " sepia", "no method sepia; the nearest: PictureSepiaQKZ; \"qkz list sepia\" shows"},
        {"run " + file + " sepai", "the nearest: PictureSepiaQKZ"},
        {"run " + file + " negative",
         "no method negative; \"qkz list negative\" shows what has to do with it"},
        {"run " + file + " 'Invert(lft=1, top=1, width=1, height=1)'", "no parameter lft; the nearest: left"},
        {"run " + file + " 'Invert(left=1, top=1)'",
         "InvertQKZ lacks width and height, in Picture.InvertQKZ("},
        {"run " + file + " 'Invert(1, left=2, width=3, height=4)'", "left is given twice"},
        {"run " + file + " 'Invert(left=2, 1, 3, 4)'", "name the argument 1 like those before"},
        {"run " + file + " 'ScrollVertical(1, maybe, no)'", "wrap (boolean) is neither yes nor no: maybe"},
        {"run " + file + " 'CountColor(#12345)'", "is not a colour such as #FF8000 or &cFF8000: #12345"},
        {"run " + file + " InvertQKZ " + half, "half.png\" is a file where a call is wanted"},
        {"run " + file + " 'invert (1).png'", "\"invert (1).png\" is a file"},
        {"run " + file + " 'EmbeddedMask(no) = a.png'", "is neither $ nor nil nor a quoted file name: a.png"},
        {"rum " + file, "there is no command rum; the nearest: run"},
        {"", "a command is missing, such as run or list; qkz --help says how"},
        {"--debug=1 list", "debug was given a disallowed flag override; qkz --help says how"},
        {"--strage gd list", "there is no option --strage; the nearest: --storage"},
        {"run " + file + " Invert --outptu x.png",
         "no option --outptu; the nearest: --output; qkz run --help"},
        {"--host-version -1 list", "-1 is no version such as 2024.0; qkz list --help says how\n"},
        {"run " + file + " 'InvertQKZ(1, x, 2, 3)'",
         "InvertQKZ: the argument for top (integer) is not a whole number: x"},
        {"run " + file + " 'InvertQKZ(9223372036854775808,0,0,0)'", "left (integer) is not a whole number"},
        {"run " + file + " 'InvertQKZ(1, 2)'",
         "InvertQKZ takes other arguments:\n  Picture.InvertQKZ(left as integer"},
        {"run " + file + " 'InvertQKZ(1'", "lacks its closing parenthesis"},
        {"run " + file + " 'InvertQKZ(&h-5,0,0,0)'", "left (integer) is not a whole number: &h-5"},
        {"run " + file + " 'InvertQKZ(1, 2>f, 3, 4)'",
         "InvertQKZ: the argument for top (integer) is not passed by reference and cannot be saved: 2"},
        {"run " + file + " 'PictureSepiaQKZ(SepiaRed=1>f)'", "the property SepiaRed cannot be saved"},
        {"run " + file + " 'InvertQKZ = \"a.png\"'", "InvertQKZ cannot be assigned to"},
        {"run " + file, "CALL is required"},
        {"run " + none + " isWhiteQKZ", "no.png: No such file or directory"},
        {"run " + folder.string() + " isWhiteQKZ", "Is a directory"},
        {"run " + (folder / "empty.png").string() + " isWhiteQKZ",
         "is no PNG, JPEG, WebP, TIFF, GIF, BMP or HEIC file"},
        {"run " + file + " InvertQKZ -o " + (folder / "no/out.png").string(),
         "/no: there is no such folder; mkdir makes it"},
        {"run '' isWhite", "the empty name: No such file or directory"},
        {"run " + file + " isWhite --debug=3", "debug was given a disallowed flag override"},
        {"run " + half + " isWhiteQKZ", "half.png: is damaged: "},
        {"info --max-pixels 11 " + file, "4 x 3 pixels are more than 11; --max-pixels allows more"},
        {"info --max-pixels 11 - < " + file, "standard input or output: 4 x 3 pixels are more than 11"},
        {"run " + file + " InvertQKZ -o ''", "-o wants the name of a file"},
        {"run " + file + " 'CountColorsQKZ(nil, nil, nil, count > \"\")'", "has an empty file name"},
        {"run " + file + " InvertQKZ -o out.bmp", "out.bmp: pictures are written as .png, .jpg"},
        {"run " + file + " InvertQKZ -o out.png --quality 50", "--quality is for JPEG and WebP"},
        {"run " + none + " 'PicturetoBinaryStringQKZ($)' -o out.png", "gives a string, which is no picture"},
        {"run " + none + " InvertQKZ", "InvertQKZ makes is written nowhere: say -o FILE"},
        {"run " + file + " 'ScrollQKZ(1, 1, true, true)'", "changed the picture, which is written nowhere"},
        {"run " + none + " isWhiteQKZ 'InvertQKZ(1, x, 2, 3)'", "top (integer) is not a whole number: x"},
        {"run " + none + " isWhiteQKZ 'PictureSepiaQKZ(SepiaRed=red)'",
         "(Integer) is not a whole number: red"},
        {"list --storage tape", "--storage"},
        {"list --fast", "--fast"}};
    for (const auto& [arguments, text] : cases) fails(arguments, text);
    EXPECT_EQ(command("list --plugin " + file).status, 2) << "no library";
}

TEST_F(Qkz, KeepsWhatAFileSaysOfItsPictureAlone) {
    const std::string from = (folder / "a.jpg").string(), to = (folder / "b.PPIC").string();
    vips::VImage image = qkztest::libraryImage(photo);
    image.set("exif-ifd0-Artist", "somebody (somebody, ASCII, 9 components, 9 bytes)");
    image.write_to_file(from.c_str());
    const std::pair<std::string, bool> cases[] = {
        {"Invert", true},
        {"PictureSepia", true},
        {"'PictureSepia(SourcePicture=\"" + in.string() + "\")'", false},
        {"'MergePicture($, $)'", true},
        {"'RenderSamples(\"text:abcd\", 4, 1, 9, 9, 1)'", false},
        {"'BinaryStringtoPicture(\"" + to + "\")'", false}};
    EXPECT_EQ(command("run " + from + " Invert -o " + to + plugin).status, 0);
    EXPECT_EQ(command("info " + to + plugin).text.substr(0, 5), "4 x 3");
    for (const auto& [call, keeps] : cases) {
        const std::string made = (folder / "made.jpg").string();
        EXPECT_EQ(command("run " + from + ' ' + call + " -o " + made + plugin).text, "") << call;
        vips_cache_set_max(0);
        const vips::VImage written = vips::VImage::new_from_file(made.c_str());
        EXPECT_EQ(written.get_typeof("exif-ifd0-Artist") != 0, keeps) << call;
    }
}

TEST_F(Qkz, SaysWhyThereIsNoResult) {
    writeArgb({1, 1, false, {0}}, out);
    const std::string run = "run -o none.png " + in.string();
    fails(run + " 'MergePicture($, \"" + out.string() + "\")'",
          "qkz: MergePictureQKZ returned nil. Given: source1 (4 x 3 pixels) and source2 (1 x 1 pixels).\n"
          "Its help says: Nil when one is Nil or cannot be read, or when the sizes differ. No exception.\n",
          1);
    fails(run + " 'RenderSamples(\"text:abc\", 100, 1, 9, 9, 1)'", "Given: Samples (3 bytes).", 1);
}

TEST_F(Qkz, PrintsARaisedException) {
    fails("run " + in.string() + " 'SaveImageAtPathToSavedPhotosAlbum(\"text:a\", nil)'",
          "PlatformNotSupportedException: iOS only\n", 1);
}

}  // namespace
