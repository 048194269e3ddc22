#include "Work.h"

#include <algorithm>
#include <iostream>

#include "Help.h"
#include "Strips.h"

namespace qkz {
namespace {

using std::filesystem::path;

bool isFile(const Session& session, const std::string& word) {
    const std::string name = word.substr(0, word.find_first_of("(= \t\n"));
    const std::string ending = path(word).extension().string();
    const bool ends = ending.size() > 2 && std::all_of(ending.begin() + 1, ending.end(),
                                                       [](unsigned char c) { return std::isalnum(c); });
    std::error_code ignored;
    const bool there = exists(path(word), ignored);
    if (session.knows(name)) return there && ends;  // such as "Invert copy.jpg"
    return word == "-" || there || ends;
}

bool isPictureName(const path& file) {
    try {
        checkPictureName(file, {});
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace

bool isPattern(const std::optional<path>& output) {
    return output && output->string().find(namePlace) != std::string::npos;
}

void checkFolder(const path& file) {
    const path folder = file.parent_path();
    if (folder.empty() || is_directory(folder)) return;
    throw UsageError(folder.string() + ": there is no such folder; mkdir makes it");
}

void sortOutFiles(const Session& session, Work& work) {
    const auto end = std::find_if_not(work.calls.begin(), work.calls.end(),
                                      [&](const std::string& word) { return isFile(session, word); });
    work.files.insert(work.files.end(), work.calls.begin(), end);
    work.calls.erase(work.calls.begin(), end);
    if (work.calls.empty()) throw UsageError("CALL is required: what is to be done to the picture");
}

void check(Session& session, const Work& work) {
    Gives last = Gives::value;
    for (const std::string& call : work.calls) last = explaining([&] { return session.check(call); });
    if (!work.output) {
        if (last != Gives::picture) return;
        throw UsageError("the picture that " + work.calls.back() +
                         " makes is written nowhere: say -o FILE, such as -o out.png");
    }
    if (work.output->empty()) throw UsageError("-o wants the name of a file");
    if (!isPattern(work.output)) checkFolder(*work.output);
    if (last == Gives::string) {
        if (*work.output == "-" || !isPictureName(*work.output)) return;
        throw UsageError(work.output->string() + ": " + work.calls.back() +
                         " gives a string, which is no picture; name it .ppic or .txt, say");
    }
    if (!isPacked(*work.output)) fromFile([&] { checkPictureName(*work.output, work.encoding); });
}

void doFile(qkzhost::Host& host, const Limits& limits, const Work& work, const path& file,
            const std::optional<path>& output) {
    if (doInStrips(host, limits, work, file, output)) return;
    Session session(host, limits);
    session.open(file);
    std::size_t before = 0;
    for (const std::string& call : work.calls) {
        const bool last = &call == &work.calls.back();
        if (last && !output) before = session.fingerprint();
        explaining([&] { session.run(call); });
        const auto string = session.stringHead();
        if (string && !(last && output)) std::cout << *string << '\n';
    }
    if (output) return session.save(*output, work.encoding);
    if (session.fingerprint() != before) {
        throw UsageError(work.calls.back() + " changed the picture, which is written nowhere: say -o FILE");
    }
}

}  // namespace qkz
