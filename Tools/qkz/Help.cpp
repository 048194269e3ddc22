#include "Help.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string_view>

#include "Words.h"

namespace qkz {
namespace {

using namespace qkzhost;

/// How many places UTF-8 text takes.
std::size_t placesOf(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

/// Wraps text: words go on the next line, which begins further in. An empty line stays.
class Page {
 public:
    Page(std::ostream& out, std::size_t width) : out_(out), width_(std::max<std::size_t>(width, 40)) {}

    void heading(std::string_view text) { out_ << '\n' << text << '\n'; }
    void paragraph(std::string_view text, std::size_t first, std::size_t others) {
        std::istringstream words{std::string(text)};
        std::size_t at = first;
        out_ << std::string(first, ' ');
        bool begins = true;
        for (std::string word; words >> word; begins = false) {
            const std::size_t places = placesOf(word);
            if (!begins && at + 1 + places > width_) {
                out_ << '\n' << std::string(others, ' ');
                at = others;
            } else if (!begins) {
                out_ << ' ';
                ++at;
            }
            out_ << word;
            at += places;
        }
        out_ << '\n';
    }
    void paragraph(std::string_view text, std::size_t indent = 0) {
        while (!text.empty()) {
            const std::size_t end = std::min(text.find("\n\n"), text.size());
            paragraph(text.substr(0, end), indent, indent);
            text.remove_prefix(std::min(end + 2, text.size()));
            if (!text.empty()) out_ << '\n';
        }
    }
    /// Lines that stay as they are.
    void code(std::string_view text) {
        std::istringstream lines{std::string(text)};
        for (std::string line; std::getline(lines, line);) out_ << "  " << line << '\n';
    }

 private:
    std::ostream& out_;
    const std::size_t width_;
};

std::string_view memberOf(std::string_view key) {
    return key.substr(std::min(key.find('.') + 1, key.size()));
}
std::string_view classOf(std::string_view key) {
    const auto dot = key.find('.');
    return dot == key.npos ? std::string_view() : key.substr(0, dot);
}

/// Whether somebody who writes `wanted` means the name, which may be one of a member.
bool means(std::string_view wanted, std::string_view name) {
    if (sameText(wanted.substr(0, 8), "Picture.")) wanted.remove_prefix(8);
    const std::string whole = std::string(wanted) + std::string(suffix);
    const auto is = [&](std::string_view text) { return sameText(wanted, text) || sameText(whole, text); };
    return is(name) || is(memberOf(name)) ||
           (name.find('.') != name.npos &&  // the class without its suffix
            sameText(wanted, std::string(classOf(name).substr(0, classOf(name).size() - suffix.size())) +
                                 '.' + std::string(memberOf(name))));
}

/// What is registered under a name.
struct Registered {
    std::vector<std::string> declarations;
    std::vector<Parameter> parameters;
    std::string kind;
    Attributes attributes;
};

Registered registered(const Host& host, std::string_view key) {
    Registered found;
    const std::string_view type = classOf(key), name = memberOf(key);
    for (const Registration& r : host.registry.registrations()) {
        const bool isClass = r.kind == Registration::classType;
        if (isClass && sameText(r.name, key)) {
            found.kind = "class";
            found.declarations = {"Class " + r.name};
        }
        if (isClass != !type.empty() || (isClass && !sameText(r.name, type))) continue;
        for (const RegisteredProperty& p : r.properties) {
            if (!sameText(p.name, name)) continue;
            found.kind = "property of " + r.name;
            found.declarations.push_back((isClass ? "" : r.name + '.') + p.name + " as " + p.type);
            found.attributes = p.attributes;
        }
        for (const RegisteredDelegate& d : r.delegates) {
            if (!sameText(parseDeclaration(d.declaration).name, name)) continue;
            found.kind = "delegate of " + r.name;
            found.declarations.push_back("Delegate " + d.declaration);
            found.parameters = parseDeclaration(d.declaration).parameters;
        }
    }
    for (const Method& method : host.registry.methods()) {
        const bool ofClass = !type.empty() && sameText(method.owner, type);
        const Registration* owner = host.registry.registration(method.owner);
        if (type.empty() ? owner && owner->kind == Registration::classType : !ofClass) continue;
        if (!sameText(method.declaration.name, name)) continue;
        found.kind = !method.selfClass.empty() ? "method of " + method.selfClass
                     : sameText(method.owner, "PictureGlobalsQKZ") || method.owner.empty()
                         ? "global method"
                         : "method of the module " + method.owner;
        found.declarations.push_back(method.text());
        found.attributes = method.attributes;
        const auto& parameters = method.declaration.parameters;
        found.parameters.insert(found.parameters.end(), parameters.begin(), parameters.end());
    }
    return found;
}

void printMeaning(Page& page, const ParameterWords& words, const Parameter* declared, std::size_t indent) {
    page.paragraph(words.means, indent);
    const auto line = [&](const char* title, std::string_view text) {
        if (!text.empty()) page.paragraph(title + std::string(text), indent, indent + 2);
    };
    line("Range: ", words.range);
    line("Default: ", declared ? declared->defaultText.value_or("") : "");
    line("At first: ", words.first);
    page.paragraph(words.more, indent);
}

void printParameter(Page& page, const ParameterWords& words, const Parameter* declared) {
    std::string line(words.name);
    if (declared)
        line += std::string(" as ") + declared->typeName + (declared->byref ? ", by reference" : "");
    if (!words.unit.empty()) line += ", in " + std::string(words.unit);
    page.paragraph(line, 2, 8);
    printMeaning(page, words, declared, 6);
}

void printHead(Page& page, std::string_view name, const Registered& found) {
    page.paragraph(std::string(name) + (found.kind.empty() ? "" : ", " + found.kind));
    for (const auto& [attribute, value] : found.attributes) {
        std::string line = attribute;
        if (!value.empty()) line.append(": use ").append(value);
        std::erase(line, '"');
        page.paragraph(line, 2, 4);
    }
    if (!found.declarations.empty()) page.heading("Declared as");
    for (const std::string& declaration : found.declarations) page.paragraph(declaration, 2, 6);
}

void printEntry(const Host& host, const Words& words, Page& page) {
    const Registered found = registered(host, words.name);
    printHead(page, words.name, found);
    page.heading("What it does");
    page.paragraph(words.does, 2);
    if (!words.parameters.empty()) page.heading("Parameters");
    for (const ParameterWords& parameter : words.parameters) {
        const auto declared = std::ranges::find_if(
            found.parameters, [&](const Parameter& p) { return sameText(p.name, parameter.name); });
        printParameter(page, parameter, declared == found.parameters.end() ? nullptr : &*declared);
    }
    if (!words.properties.empty()) page.heading("Properties");
    for (const ParameterWords& property : words.properties) printParameter(page, property, nullptr);
    for (const auto& [title, text] : {std::pair{"Result", words.result}, {"If it fails", words.failure}}) {
        if (text.empty()) continue;
        page.heading(title);
        page.paragraph(text, 2);
    }
    if (!words.quirks.empty()) page.heading("Good to know");
    for (const std::string_view quirk : words.quirks) page.paragraph("- " + std::string(quirk), 2, 4);
    if (!words.example.empty()) page.heading("Example");
    page.code(words.example);
    std::string command = "qkz run " + std::string(words.source) + ".png";
    for (const std::string& call : words.calls) command += " '" + call + '\'';
    if (words.calls.empty()) return;
    page.heading("On the command line");
    page.code(command + " -o out.png");
    if (words.source != "photo" || command.find('"') != command.npos) {
        page.paragraph("(\"qkz gallery FOLDER photo.jpg\" makes such files.)", 2);
    }
}

/// The nearest of the names that stand alone, or else of the members'.
std::string nearestWords(const std::string& name) {
    std::vector<std::string> names, members;
    for (const Words& words : allWords()) {
        (classOf(words.name).empty() ? names : members).emplace_back(memberOf(words.name));
        for (const ParameterWords& p : words.properties) members.emplace_back(p.name);
    }
    const std::string near = suggestion(name, names);
    return near.empty() ? suggestion(name, members) : near;
}

std::string_view firstSentence(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool ends = text[i] == '.' && (i + 1 == text.size() || text[i + 1] == ' ');
        if (ends || text[i] == '\n') return text.substr(0, i);
    }
    return text;
}

/// Names and meanings of what has a text in either.
std::vector<std::pair<std::string, std::string_view>> linesWith(const std::string& text) {
    const std::string part = canonical(text);
    const auto has = [&](std::string_view in) { return canonical(in).find(part) != std::string::npos; };
    std::vector<std::pair<std::string, std::string_view>> lines;
    for (const Words& words : allWords()) {
        if (has(words.name) || has(words.does)) lines.emplace_back(words.name, firstSentence(words.does));
        for (const ParameterWords& p : words.properties) {
            if (!has(p.name) && !has(p.means)) continue;
            lines.emplace_back(std::string(words.name) + '.' + std::string(p.name), firstSentence(p.means));
        }
    }
    return lines;
}

const Words* wordsOn(std::string_view name) {
    const auto found =
        std::ranges::find_if(allWords(), [&](const Words& words) { return sameText(words.name, name); });
    return found == allWords().end() ? nullptr : &*found;
}

}  // namespace

std::size_t terminalWidth() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

void help(const Host& host, const std::string& name, std::size_t width, std::ostream& out) {
    Page page(out, width);
    bool found = false;
    const auto begin = [&] {
        if (found) out << '\n' << std::string(40, '-') << "\n\n";
        found = true;
    };
    for (const Words& words : allWords()) {
        if (means(name, words.name)) {
            begin();
            printEntry(host, words, page);
        }
        for (const ParameterWords& property : words.properties) {
            const std::string key = std::string(words.name) + '.' + std::string(property.name);
            if (!means(name, key)) continue;
            begin();
            printHead(page, key, registered(host, key));
            page.heading("What it means" +
                         (property.unit.empty() ? "" : ", in " + std::string(property.unit)));
            printMeaning(page, property, nullptr, 2);
        }
    }
    if (!found) throw UnknownName(name, "there is no help on " + name + nearestWords(name));
}

void search(const std::string& text, std::size_t width, std::ostream& out) {
    const auto lines = linesWith(text);
    if (lines.empty()) {
        throw UsageError("nothing has \"" + text + "\" in its name or meaning" + nearestWords(text) +
                         "; qkz list shows everything");
    }
    std::size_t longest = 0;
    for (const auto& [name, meaning] : lines) longest = std::max(longest, name.size());
    for (const auto& [name, meaning] : lines) {
        std::string line = name + std::string(longest - name.size() + 2, ' ') + std::string(meaning);
        if (placesOf(line) > width && width > longest + 10) {
            while (placesOf(line) > width - 3) line.pop_back();
            line += "...";
        }
        out << line << '\n';
    }
}

std::string firstSentenceOn(const std::string& name) {
    const Words* words = wordsOn(name);
    return words ? std::string(firstSentence(words->does)) : "";
}

CallFailure explained(const NilResult& error) {
    const Words* words = wordsOn(error.method);
    return CallFailure(error.what() + (words && !words->failure.empty()
                                           ? "\nIts help says: " + std::string(words->failure)
                                           : ""));
}

UsageError explained(const UnknownName& error) {
    const std::string list = "; \"qkz list " + error.name + "\" shows what has to do with it";
    return UsageError(error.what() +
                      (linesWith(error.name).empty() ? "; qkz list shows what there is" : list));
}

}  // namespace qkz
