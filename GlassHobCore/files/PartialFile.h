#pragma once

// A file that takes long to write: it grows under a hidden name beside its place and is moved there when it is whole.
// Until then a file that was there before is untouched; given up, or let go of before the move, nothing is left.
// Symbolic links of the place are followed, and a file that is replaced hands on its mode. Paths are native bytes.
// One thread at a time; errors are one sentence that names the file and says what to do.

#include <expected>
#include <string>

namespace glasshob {

class PartialFile {
  public:
    /// Finds out whether a file can stand there, and makes none yet.
    static std::expected<PartialFile, std::string> beside(const std::string& place);
    PartialFile(PartialFile&& other) noexcept;
    PartialFile& operator=(PartialFile&& other) noexcept;
    ~PartialFile();

    /// Where to write.
    const std::string& path() const { return path_; }
    std::expected<void, std::string> moveIntoPlace();
    void remove();

  private:
    PartialFile(std::string path, std::string place, std::string named);

    std::string path_; // empty when there is nothing to remove any more
    std::string place_;
    std::string named_; // the place as it was given
};

} // namespace glasshob
