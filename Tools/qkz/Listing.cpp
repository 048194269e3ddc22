#include "Listing.h"

#include <iostream>
#include <string>
#include <utility>

namespace qkz {

using namespace qkzhost;

void list(const Host& host) {
    std::cout << "Host " << host.settings.version << ", plug-in interface " << host.sdkVersion << '\n';
    const auto section = [](const std::string& title) { std::cout << '\n' << title << '\n'; };
    bool globals = false;
    for (const Registration& r : host.registry.registrations()) {
        switch (r.kind) {
            case Registration::classType:
                section("Class " + r.name);
                break;
            case Registration::module:
                section("Module " + r.name);
                break;
            case Registration::extension:
                section("Extension of " + r.name);
                break;
            case Registration::method:  // told together where the first one is
                if (std::exchange(globals, true)) continue;
                section("Global methods");
                break;
        }
        for (const RegisteredProperty& p : r.properties) {
            std::cout << "  " << p.name << " as " << p.type;
            for (const auto& [name, value] : p.attributes) {
                std::cout << "  [" << name << (value.empty() ? "" : " ") << value << ']';
            }
            std::cout << '\n';
        }
        for (const Method& method : host.registry.methods()) {
            if (method.owner != r.name) continue;
            std::cout << "  " << method.text();
            for (const auto& [name, value] : method.attributes) {
                std::cout << "  [" << name << ' ' << value << ']';
            }
            std::cout << '\n';
        }
        for (const RegisteredDelegate& d : r.delegates) std::cout << "  Delegate " << d.declaration << '\n';
    }
}

}  // namespace qkz
