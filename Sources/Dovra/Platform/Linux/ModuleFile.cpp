#include "Platform/ModuleFile.hpp"

#include <dlfcn.h>

#include "Platform/Paths.hpp"

namespace dovra {

std::optional<std::string> programFolder() {
    const auto program = realPath("/proc/self/exe");
    return program ? std::optional(program->substr(0, program->rfind('/'))) : std::nullopt;
}

ModuleExport openModule(const std::string& path, const char* name) {
    const auto failed = [] { return ModuleExport{.failure = ::dlerror()}; };
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) return failed();
    const void* address = ::dlsym(module, name);
    return address == nullptr ? failed() : ModuleExport{.address = address};
}

}  // namespace dovra
