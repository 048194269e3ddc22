// How a plug-in's file comes into the process.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "Host.h"
#include "Imports.h"

namespace qkzhost {

void Host::load(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file)) throw std::runtime_error(file.string() + " is not a file");
    // The loader knows a library again by its name and its inode; a new copy is new in both.
    struct Copy {
        std::string name = (std::filesystem::temp_directory_path() / "plugin-XXXXXX.so").string();
        const int descriptor = mkstemps(name.data(), 3);
        ~Copy() {
            if (descriptor < 0) return;
            close(descriptor);
            unlink(name.c_str());
        }
    };
    void* entry = nullptr;
    {
        const Copy copy;
        if (copy.descriptor < 0) throw std::runtime_error("no temporary file can be made");
        std::error_code error;
        std::filesystem::copy_file(file, copy.name, std::filesystem::copy_options::overwrite_existing, error);
        if (error) throw std::runtime_error(file.string() + ": " + error.message());
        void* const library = dlopen(copy.name.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            std::string reason = dlerror();
            const std::string prefix = copy.name + ": ";
            if (const auto at = reason.find(prefix); at != reason.npos) reason.erase(at, prefix.size());
            throw std::runtime_error(file.string() + ": " + reason);
        }
        if (faults.allowImport) redirectImports(library);
        entry = dlsym(library, "REALPluginMain");
    }
    if (!entry) throw std::runtime_error(file.string() + " has no REALPluginMain");
    start(reinterpret_cast<void (*)(void* (*)(const char*))>(entry));
}

}  // namespace qkzhost
