#pragma once

// Reads a shader's text from disk, byte for byte: a byte-order mark, carriage returns and no-break spaces stay as they
// are, so that saving an unedited text gives the same file. Paths are native bytes (QFile::encodeName of a QString).
// Any thread; blocks while it reads. Fails with one sentence for a person.

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

namespace glasshob::ShaderFile {

// Larger files are refused: no shader is that long, and everything downstream works on the whole text at once.
inline constexpr std::size_t sizeLimit = std::size_t{4} << 20;
// And files of more lines: an editor keeps something for each.
inline constexpr std::size_t lineLimit = 200'000;

// Whether a file of this text could be opened: who takes a text in asks before, so that what is saved can be opened
// again.
bool fits(std::string_view text);
// Lines end in a line feed, a carriage return or a pair of both.
std::size_t lineCount(std::string_view text);

enum class Problem { missing, folder, notText, unreadable, tooLarge };

struct Failure {
    Problem problem = Problem::unreadable;
    // A whole sentence that names the file.
    std::string sentence;
};

// The file's text, or why there is none. `path` may also be a pipe or a device.
std::expected<std::string, Failure> read(const std::string& path);

// The same for what arrives on a file descriptor; `name` is what the sentence calls it.
std::expected<std::string, Failure> readDescriptor(int descriptor, std::string_view name);

} // namespace glasshob::ShaderFile
