#include "GlassHobRender/formats/MovieLibrary.h"

#include <dlfcn.h>

namespace glasshob {

namespace movielibrary {
#define GLASSHOB_DEFINE(name) decltype(&::name) name = nullptr;
GLASSHOB_MOVIE_FUNCTIONS(GLASSHOB_DEFINE)
#undef GLASSHOB_DEFINE
} // namespace movielibrary

namespace {

std::expected<void, std::string> load() {
    // The version whose headers this was compiled with; it brings the other libraries, and is kept to the end.
    const std::string version = AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR);
    const std::string file = "libavformat.so." + version;
    void* const library = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
    bool isWhole = library != nullptr;
    const auto find = [&](auto& function, const char* name) {
        if (!isWhole) return;
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
        isWhole = function != nullptr;
    };
#define GLASSHOB_FIND(name) find(movielibrary::name, #name);
    GLASSHOB_MOVIE_FUNCTIONS(GLASSHOB_FIND)
#undef GLASSHOB_FIND
    if (!isWhole) {
        const char* const problem = dlerror();
        return std::unexpected("Movies need FFmpeg, and its library " + file + " could not be loaded (" +
                               (problem != nullptr ? problem : "no reason was given") +
                               "). Install it; on Debian it is the package libavformat" + version + ".");
    }
    movielibrary::av_log_set_level(AV_LOG_QUIET); // what goes wrong is told in sentences of our own
    return {};
}

} // namespace

std::expected<void, std::string> loadMovieLibrary() {
    static const std::expected<void, std::string> loaded = load();
    return loaded;
}

} // namespace glasshob
