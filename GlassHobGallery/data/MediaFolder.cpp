#include "GlassHobGallery/data/MediaStore.h"

#include "GlassHobGallery/data/DiskRefusal.h"
#include "GlassHobGallery/data/Secrets.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace glasshob::gallery {

namespace {

namespace fs = std::filesystem;

bool isName(std::string_view name) {
    return name.size() == 64 &&
           std::ranges::all_of(name, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

void syncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

class MediaFolder : public MediaStore {
  public:
    explicit MediaFolder(const std::string& folder)
        : media_(fs::path(folder) / "media"), incoming_(fs::path(folder) / "incoming") {
        fs::create_directories(media_);
        fs::create_directories(incoming_);
    }

    class File : public Incoming {
      public:
        explicit File(fs::path path) : path_(std::move(path)) {
            descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (descriptor_ < 0) throw DiskRefusal("the folder \"incoming\" cannot be written");
        }
        ~File() override {
            close(descriptor_);
            unlink(path_.c_str()); // no matter once it was placed
        }
        bool write(std::string_view bytes) override {
            while (!bytes.empty() && isGood_) {
                const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
                if (written < 0 && errno == EINTR) continue;
                if (written <= 0) {
                    isGood_ = false;
                } else {
                    bytes.remove_prefix(std::size_t(written));
                    size_ += std::uint64_t(written);
                }
            }
            return isGood_;
        }
        std::uint64_t size() const override { return size_; }
        int file() const override { return descriptor_; }
        std::optional<std::string> finish() override {
            struct stat status{};
            if (!isGood_ || fstat(descriptor_, &status) != 0 || fsync(descriptor_) != 0) return {};
            size_ = std::uint64_t(status.st_size);
            Digest digest;
            std::string buffer(1 << 16, '\0');
            for (std::uint64_t at = 0; at < size_;) {
                const ssize_t got = pread(descriptor_, buffer.data(), buffer.size(), off_t(at));
                if (got <= 0) return {};
                digest.add({buffer.data(), std::size_t(got)});
                at += std::uint64_t(got);
            }
            name_ = hexText(digest.end());
            return name_;
        }
        const fs::path& path() const { return path_; }
        const std::string& name() const { return name_; }

      private:
        fs::path path_;
        std::string name_;
        int descriptor_ = -1;
        std::uint64_t size_ = 0;
        bool isGood_ = true;
    };

    std::unique_ptr<Incoming> begin() override { return std::make_unique<File>(incoming_ / randomToken()); }

    void place(Incoming& incoming) override {
        auto& file = static_cast<File&>(incoming);
        if (!isName(file.name())) throw std::logic_error("A file that is not finished cannot be placed.");
        const fs::path target = pathOf(file.name());
        std::error_code error;
        if (const fs::path folder = target.parent_path(); !fs::exists(folder, error)) {
            fs::create_directory(folder, error);
            syncFolder(media_);
        }
        fs::rename(file.path(), target, error);
        if (error) throw DiskRefusal("a file cannot be placed: " + error.message());
        syncFolder(target.parent_path());
    }

    void remove(std::string_view name) override {
        std::error_code error;
        if (isName(name)) fs::remove(pathOf(name), error);
    }

    std::optional<MediaStore::File> open(std::string_view name) override {
        if (!isName(name)) return {};
        const int descriptor = ::open(pathOf(name).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        struct stat status{};
        if (descriptor < 0) return {};
        if (fstat(descriptor, &status) != 0) {
            close(descriptor);
            return {};
        }
        return MediaStore::File{descriptor, std::uint64_t(status.st_size)};
    }

    void eachOlderThan(std::int64_t seconds, const std::function<void(const std::string&)>& call) override {
        const auto limit = fs::file_time_type::clock::now() - std::chrono::seconds(seconds);
        std::error_code error;
        const auto isOld = [&](const fs::directory_entry& entry) {
            return entry.last_write_time(error) <= limit && !error;
        };
        for (const auto& entry : fs::directory_iterator(incoming_, error))
            if (isOld(entry)) fs::remove(entry.path(), error);
        for (const auto& entry : fs::recursive_directory_iterator(media_, error))
            if (entry.is_regular_file(error) && isOld(entry)) call(entry.path().filename());
    }

  private:
    fs::path pathOf(std::string_view name) const { return media_ / name.substr(0, 2) / name; }

    fs::path media_, incoming_;
};

} // namespace

std::unique_ptr<MediaStore> openMediaFolder(const std::string& folder) {
    return std::make_unique<MediaFolder>(folder);
}

} // namespace glasshob::gallery
