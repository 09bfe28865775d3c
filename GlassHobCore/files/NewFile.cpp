#include "GlassHobCore/files/NewFile.h"

#include "GlassHobCore/files/AtomicFile.h"
#include "GlassHobCore/files/PartialFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace glasshob::NewFile {

std::expected<std::string, std::string> write(const std::string& folder, const std::string& fileName,
                                              std::string_view bytes) {
    const std::size_t dot = fileName.rfind('.');
    const std::size_t stem = dot == 0 ? std::string::npos : dot;
    const auto numbered = [&](int number) {
        std::string path = folder + "/" + fileName.substr(0, stem);
        if (number > 1) path += " " + std::to_string(number);
        return stem == std::string::npos ? path : path + fileName.substr(stem);
    };
    const std::string aside = UnfinishedPaths::marked(folder + "/.", ".part");
    UnfinishedPaths::add(aside);
    const auto written = AtomicFile::write(aside, bytes);
    int error = EEXIST;
    std::string path;
    for (int number = 1; written && error == EEXIST; ++number) {
        path = numbered(number);
        error = PartialFile::move(aside, path, false);
    }
    if (error != 0) std::remove(aside.c_str());
    UnfinishedPaths::forget(aside);
    if (!written) {
        std::string sentence = written.error();
        // The name that the person knows.
        if (const std::size_t at = sentence.find(aside); at != std::string::npos)
            sentence.replace(at, aside.size(), numbered(1));
        return std::unexpected(std::move(sentence));
    }
    if (error != 0)
        return std::unexpected(path + " could not be written (" + strerrordesc_np(error) +
                               "): check the folder's permissions and the disk it lies on.");
    return path;
}

} // namespace glasshob::NewFile
