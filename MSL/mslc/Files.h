// How mslc reads its source and writes its results. The source is never overwritten, a result replaces a file whole or
// not at all, and a device or a pipe is written to as it is. Every failure is one sentence that names the file and says
// what to do.
#pragma once

#include <expected>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace mslc {

// Which file a text came from. Comparing these finds a file under any of its names.
struct FileIdentity {
    dev_t device = 0;
    ino_t node = 0;
    bool isPlainFile = false; // false for devices and pipes, which are no file to protect

    bool isSameFile(const FileIdentity& other) const {
        return isPlainFile && other.isPlainFile && device == other.device && node == other.node;
    }
};

struct Source {
    std::string name; // what messages of mslc itself call it
    std::string text;
    FileIdentity identity;
};

// Reads a file, or standard input for "-": at most 64 MB, which is what the compiler takes.
std::expected<Source, std::string> readSource(const std::string& path);

// Whether what goes to standard output would be added to the source.
bool isStandardOutput(const Source& source);

// Whether writeFile could put a result there now, found out before the work. Refuses the source
// itself.
std::expected<void, std::string> checkOutput(const std::string& path, const Source& source);

// Writes beside the file and renames; through a symbolic link into the file that it names, whose mode is kept.
std::expected<void, std::string> writeFile(const std::string& path, std::string_view bytes);

// Standard output; false when its disk is full or its reader has gone.
bool writeOutput(std::string_view bytes);
bool writeError(std::string_view bytes);

} // namespace mslc
