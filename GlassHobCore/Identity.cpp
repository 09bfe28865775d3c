#include "GlassHobCore/Identity.h"

#include <climits>
#include <unistd.h>

namespace glasshob::Identity {

namespace {

std::string executableFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) return {};
    const std::string executable(path, static_cast<std::size_t>(length));
    return executable.substr(0, executable.rfind('/'));
}

bool holdsResources(const std::string& folder) {
    const std::string sample = folder + "/Shaders/" + std::string(sampleShader);
    return access(sample.c_str(), R_OK) == 0;
}

std::string findResourceFolder() {
    std::string folder = executableFolder();
    const std::size_t lastSlash = folder.rfind('/');
    if (lastSlash == std::string::npos) return {};
    std::string installed = folder.substr(0, lastSlash) + "/share/glasshob";
    if (holdsResources(installed)) return installed;
    // In a build tree the program lies some folders below the top of the source tree.
    for (int level = 0; level < 5; ++level) {
        std::string inSource = folder + "/GlassHob";
        if (holdsResources(inSource)) return inSource;
        const std::size_t slash = folder.rfind('/');
        if (slash == std::string::npos) break;
        folder.resize(slash);
    }
    return {};
}

} // namespace

std::string resourceFolder() {
    static const std::string folder = findResourceFolder();
    return folder;
}

std::string resourcePath(std::string_view name) {
    const std::string folder = resourceFolder();
    if (folder.empty()) return {};
    std::string path = folder + "/" + std::string(name);
    return access(path.c_str(), R_OK) == 0 ? path : std::string();
}

} // namespace glasshob::Identity
