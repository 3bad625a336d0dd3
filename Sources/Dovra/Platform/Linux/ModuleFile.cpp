#include "Platform/ModuleFile.hpp"

#include <dlfcn.h>

#include "Platform/Paths.hpp"

namespace dovra {

std::string companionFile(const std::string& name, const std::string& installedFolder) {
    const auto program = realPath("/proc/self/exe");
    if (!program) return "/" + name;  // the program was deleted meanwhile
    const std::string folder = program->substr(0, program->rfind('/') + 1);
    if (const auto beside = realPath(folder + name)) return *beside;
    return realPath(folder + installedFolder + "/" + name).value_or(folder + name);
}

ModuleExport openModule(const std::string& path, const char* name) {
    const auto failed = [] { return ModuleExport{.failure = ::dlerror()}; };
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) return failed();
    const void* address = ::dlsym(module, name);
    return address == nullptr ? failed() : ModuleExport{.address = address};
}

}  // namespace dovra
