#include "CommandLine.h"

#include <algorithm>
#include <set>

#include "CallSyntax.h"
#include "Help.h"

namespace qkz {
namespace {

using namespace qkzhost;

std::vector<const CLI::App*> commands(const CLI::App& app) {
    std::vector<const CLI::App*> all;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!command->get_group().empty()) all.push_back(command);  // hidden ones have no group
    }
    return all;
}

/// As they are written, such as `-o` and `--output`; none of a positional.
std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back('-' + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
    std::vector<const CLI::Option*> all;
    for (const CLI::Option* option : app.get_options()) {
        if (option->nonpositional()) all.push_back(option);
    }
    return all;
}

}  // namespace

std::string misuse(const CLI::App& app, const CLI::ParseError& error) {
    std::string command;
    std::vector<std::string> options, names;
    const auto collect = [&](const CLI::App& from) {
        for (const CLI::Option* option : optionsOf(from)) {
            for (const std::string& name : namesOf(*option)) options.push_back(name);
        }
    };
    collect(app);
    for (const CLI::App* known : commands(app)) {
        names.push_back(known->get_name());
        if (!known->parsed()) continue;
        command = known->get_name() + ' ';
        collect(*known);
    }
    const std::string next = "; qkz " + command + "--help says how";
    const std::vector<std::string> left = app.remaining(true);
    const auto option = std::find_if(left.begin(), left.end(),
                                     [](auto& text) { return text.starts_with('-') && text.size() > 1; });
    if (option != left.end()) return "there is no option " + *option + suggestion(*option, options) + next;
    if (command.empty() && left.empty()) {
        const bool missing = error.get_name() == "RequiredError";
        return (missing ? "a command is missing, such as run or list" : error.what()) + next;
    }
    if (command.empty())
        return "there is no command " + left.front() + suggestion(left.front(), names) + next;
    if (!left.empty()) return command + "takes no " + left.front() + next;
    return error.what() + next;
}

void describe(const CLI::App& app, const Host& host, std::ostream& out) {
    const auto tellOptions = [&out](const CLI::App& of, const std::string& command) {
        for (const CLI::Option* option : optionsOf(of)) {
            if (!command.empty() && option->get_name() == "--help") continue;
            out << "option\t" << command << '\t';
            const char* between = "";
            for (const std::string& name : namesOf(*option)) out << std::exchange(between, " ") << name;
            out << '\t' << (option->get_expected_max() > 0 ? "VALUE" : "") << '\t'
                << option->get_description() << '\n';
        }
    };
    tellOptions(app, "");
    for (const CLI::App* command : commands(app)) {
        out << "command\t" << command->get_name() << '\t' << command->get_description() << '\n';
        tellOptions(*command, command->get_name());
    }
    std::set<std::string> told;
    const auto tell = [&](const std::string& name) {
        if (told.insert(name).second) out << "call\t" << name << '\t' << firstSentenceOn(name) << '\n';
    };
    for (const Method& method : host.registry.methods()) {
        const Registration* owner = host.registry.registration(method.owner);
        if (!owner || owner->kind != Registration::classType) tell(method.declaration.name);
    }
    for (const Registration& r : host.registry.registrations()) {
        if (r.kind == Registration::classType) tell(r.name);
    }
}

}  // namespace qkz
