#pragma once

// The files that people shared, named by their content. A file is first written beside them ("incoming"), and then
// placed under its name, which either happens or not. Any thread, any number of processes on one folder.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob::gallery {

class MediaStore {
  public:
    virtual ~MediaStore() = default;

    // A file that is being written; gone when nobody places it. `write` is false once the disk refused.
    class Incoming {
      public:
        virtual ~Incoming() = default;
        virtual bool write(std::string_view bytes) = 0;
        // Of what was written.
        virtual std::uint64_t size() const = 0;
        // Open for reading and writing as long as this lives.
        virtual int file() const = 0;
        // Takes in what was written through `file()`, and waits until all of it is on the disk. The name that the
        // content gives it; nothing when the disk refused.
        virtual std::optional<std::string> finish() = 0;
    };
    // Throws DiskRefusal when none can be made.
    virtual std::unique_ptr<Incoming> begin() = 0;
    // Puts a finished one under its name. Call it inside the database's `write` that also keeps the name, as `remove`:
    // so that no file is taken away that another process begins to use. Throws DiskRefusal.
    virtual void place(Incoming& incoming) = 0;
    virtual void remove(std::string_view name) = 0;

    struct File {
        int descriptor = -1;
        std::uint64_t size = 0;
    };
    // The caller closes it; nothing when there is no such file.
    virtual std::optional<File> open(std::string_view name) = 0;
    // Every name that is there, and that nobody wrote in the last so many seconds; also takes away what is left of
    // uploads that ended with their process.
    virtual void eachOlderThan(std::int64_t seconds, const std::function<void(const std::string&)>& call) = 0;
};

// In a folder, which is made.
std::unique_ptr<MediaStore> openMediaFolder(const std::string& folder);

} // namespace glasshob::gallery
