#pragma once

// A file that takes long to write: it grows under a hidden name beside its place and is moved there when it is whole.
// Until then a file that was there before is untouched; abandoned before the move, it leaves nothing.
// Symbolic links of the place are followed, and a file that is replaced hands on its mode. Paths are native bytes.
// One thread at a time; errors are one sentence that names the file and says what to do.
//
// The hidden name tells the machine and the process that writes, so that what a killed process has left is known and
// removed by the next one that writes into the same folder.

#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace glasshob {

class PartialFile {
  public:
    enum class Existing { replaced, kept };

    // Finds out whether a file can stand there, and makes none yet. Removes what killed processes have left beside it.
    static std::expected<PartialFile, std::string> beside(const std::string& place);
    PartialFile(PartialFile&& other) noexcept;
    PartialFile& operator=(PartialFile&& other) noexcept;
    ~PartialFile();

    // One with this text in it already.
    static std::expected<PartialFile, std::string> written(const std::string& place, std::string_view text);

    // Where to write.
    const std::string& path() const { return path_; }
    // Where the file is now: its place, or beside it with a number behind its name ("sea-2.mp4") where a file has come
    // to be there by then and is to be kept.
    std::expected<std::string, std::string> moveIntoPlace(Existing existing = Existing::replaced);
    void remove();

    // Moves all of them, or none where one cannot be: an earlier file that was replaced is gone then.
    static std::expected<void, std::string> moveAllIntoPlace(std::span<PartialFile> files);

    // Renames; 0, or the error's number: EEXIST where `to` is there and is not to be replaced.
    static int move(const std::string& from, const std::string& to, bool replaces);

  private:
    PartialFile(std::string path, std::string place, std::string named);

    std::string path_; // empty when there is nothing to remove any more
    std::string place_;
    std::string named_; // the place as it was given
};

// Files and folders that are worked on, by every thread of the process.
namespace UnfinishedPaths {

// A hidden name for what this process works on: `before`, then a mark of machine and process, then `after`.
std::string marked(std::string_view before, std::string_view after);
// Removes from the folder what has this ending and the mark of a process of this machine that is gone.
void removeAbandoned(const std::string& folder, std::string_view after);

// `whole` is a file, or a folder with what is in it; a folder of the kind `whenEmpty` stays where others have put
// something into it.
enum class Removal { whole, whenEmpty };
void add(const std::string& path, Removal removal = Removal::whole);
void forget(const std::string& path);
// Deletes all of them, the newest first: for a process that ends in the middle of its work.
void removeAll();

} // namespace UnfinishedPaths
} // namespace glasshob
