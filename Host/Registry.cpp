#include "Registry.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace qkzhost {

std::string Method::text() const {
    std::string result = selfClass.empty() && !shared ? "" : (selfClass.empty() ? owner : selfClass) + '.';
    result += declaration.name;
    std::string list;
    for (const Parameter& p : declaration.parameters) {
        if (p.assigns || (assigns && &p == &declaration.parameters.back())) continue;
        list +=
            (list.empty() ? "" : ", ") + std::string(p.byref ? "byref " : "") + p.name + " as " + p.typeName;
        if (p.defaultText) list += " = " + *p.defaultText;
    }
    if (!list.empty()) result += '(' + list + ')';
    if (assigns) {
        return result + " = " + declaration.parameters.back().name + " as " +
               declaration.parameters.back().typeName;
    }
    return result + (declaration.resultName.empty() ? "" : " as " + declaration.resultName);
}

std::vector<Parameter> Method::parameters() const {
    std::vector<Parameter> all = declaration.parameters;
    if (!selfClass.empty()) all.insert(all.begin(), {.name = "self", .typeName = selfClass});
    return all;
}

Overload chooseOverload(const Methods& methods, std::size_t arguments,
                        const std::function<void(const Method&)>& check, bool objectApart) {
    Overload result;
    for (const Method* method : methods) {
        const auto& declared = method->declaration.parameters;
        const std::size_t object = objectApart || method->selfClass.empty() ? 0 : 1;
        const auto optional =
            std::count_if(declared.begin(), declared.end(), [](const auto& p) { return !!p.defaultText; });
        const std::size_t most = object + declared.size();
        if (arguments > most || arguments < most - static_cast<std::size_t>(optional)) continue;
        try {
            check(*method);
            return {.method = method};
        } catch (const std::invalid_argument& error) {
            if (result.obstacle.empty()) result.obstacle = error.what();
        }
    }
    return result;
}

void Registry::add(Registration added) {
    const Registration& r = registrations_.emplace_back(std::move(added));
    const bool ofObjects = r.kind == Registration::classType || r.kind == Registration::extension;
    addMethods(r.methods, r.name, ofObjects ? r.name : "", false);
    if (r.kind == Registration::classType) addMethods(r.sharedMethods, r.name, "", true);
}

void Registry::addMethods(const std::vector<RegisteredMethod>& rows, const std::string& owner,
                          const std::string& self, bool shared) {
    for (const RegisteredMethod& row : rows) {
        try {
            addMethod(row, owner, self, shared);
        } catch (const std::invalid_argument& error) {
            objects_.note("registered declaration \"" + row.declaration + "\": " + error.what());
        }
    }
}

void Registry::addMethod(const RegisteredMethod& row, const std::string& owner, const std::string& self,
                         bool shared) {
    Method method{
        parseDeclaration(row.declaration), row.function, owner, self, false, shared, row.attributes};
    auto& parameters = method.declaration.parameters;
    if (!parameters.empty() && parameters.front().extends) {
        method.selfClass = parameters.front().typeName;
        parameters.erase(parameters.begin());
    }
    method.assigns = !parameters.empty() && parameters.back().assigns;
    if (row.function) methods_.push_back(method);
    if (!row.setterFunction) return;
    method.function = row.setterFunction;
    method.assigns = true;
    Declaration& declaration = method.declaration;
    declaration.parameters.push_back({.name = "value",
                                      .typeName = std::exchange(declaration.resultName, ""),
                                      .type = std::exchange(declaration.result, Type::none),
                                      .assigns = true});
    methods_.push_back(method);
}

const Registration* Registry::registration(std::string_view name) const {
    for (const Registration& r : registrations_) {
        if (!name.empty() && sameText(r.name, name)) return &r;
    }
    return nullptr;
}

Methods Registry::find(std::string_view name, bool assigning) const {
    Methods found;
    for (const Method& method : methods_) {
        if (method.assigns == assigning && sameText(method.declaration.name, name)) found.push_back(&method);
    }
    return found;
}

}  // namespace qkzhost
