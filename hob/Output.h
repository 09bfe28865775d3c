#pragma once

// Where a command's file goes: a path, or standard output for "-". Asked before the work whether it can be written, so
// that a result which cannot be kept fails early. A file is replaced whole or not at all.

#include "GlassHobCore/files/PartialFile.h"
#include "hob/Console.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace hob {

// Whether the output can be taken; tells why when not. `source` is the path of what the work is done on, which is
// never overwritten, and `role` what that is.
bool checkOutput(Console& console, const std::string& output, const std::string& source,
                 std::string_view role = "the shader itself");

// Whether nothing is there yet, or may be replaced; tells so when not.
bool checkPlace(Console& console, const std::string& output, bool replaces);

// Writes the bytes; tells why when that fails. What has come to stand there since the place was checked is kept, where
// it is not to be replaced, and the result stands beside it.
bool writeOutput(Console& console, const std::string& output, std::string_view bytes, bool replaces);

// For a file that takes long to write: it grows beside its place. Nothing after the reason was printed; a file that is
// there is only replaced when that is asked for.
std::optional<glasshob::PartialFile> openOutput(Console& console, const std::string& output, bool replaces);

// The last step: the file appears under its name, or, where another program has made such a file in between and it is
// not to be replaced, under one beside it. Tells so, and why when it fails.
ExitStatus finishOutput(Console& console, glasshob::PartialFile& file, const std::string& output, bool replaces);

// The chapters of a movie, written beside their place before the movie's first frame, and put there just before the
// movie is: both appear, or neither.
class ChaptersOutput {
  public:
    // Nothing after the reason was printed.
    static std::optional<ChaptersOutput> open(Console& console, const std::string& movie, const std::string& json,
                                              bool replaces);
    ExitStatus finish(Console& console, glasshob::PartialFile& movie, const std::string& output, bool replaces);

  private:
    explicit ChaptersOutput(glasshob::PartialFile file) : file_(std::move(file)) {}
    glasshob::PartialFile file_;
};

} // namespace hob
