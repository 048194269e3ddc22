#include "Listing.h"

#include <ostream>
#include <string>
#include <utility>

namespace qkz {

using namespace qkzhost;

void list(const Host& host, std::ostream& out) {
    out << "Host " << host.settings.version << ", plug-in interface " << host.sdkVersion << '\n';
    const auto section = [&out](const std::string& title) { out << '\n' << title << '\n'; };
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
            out << "  " << p.name << " as " << p.type;
            for (const auto& [name, value] : p.attributes) {
                out << "  [" << name << (value.empty() ? "" : " ") << value << ']';
            }
            out << '\n';
        }
        for (const Method& method : host.registry.methods()) {
            if (method.owner != r.name) continue;
            out << "  " << method.text();
            for (const auto& [name, value] : method.attributes) {
                out << "  [" << name << ' ' << value << ']';
            }
            out << '\n';
        }
        for (const RegisteredDelegate& d : r.delegates) out << "  Delegate " << d.declaration << '\n';
    }
}

}  // namespace qkz
