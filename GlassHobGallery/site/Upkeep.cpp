#include "GlassHobGallery/site/Upkeep.h"

#include "GlassHobGallery/data/DiskRefusal.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/data/Sqlite.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace glasshob::gallery {

namespace {

namespace fs = std::filesystem;

// Gives a file's bytes in pieces; false when there is no such file, or it cannot be read to its end.
template <class Take>
bool eachPiece(MediaStore& media, const std::string& name, Take take) {
    const auto file = media.open(name);
    if (!file) return false;
    std::string buffer(1 << 16, '\0');
    std::uint64_t at = 0;
    while (at < file->size) {
        const ssize_t got = pread(file->descriptor, buffer.data(), buffer.size(), off_t(at));
        if (got <= 0) break;
        take(std::string_view(buffer).substr(0, std::size_t(got)));
        at += std::uint64_t(got);
    }
    close(file->descriptor);
    return at == file->size;
}

// Whether the other store has the file afterwards.
bool copyFile(MediaStore& from, MediaStore& to, const std::string& name) {
    if (const auto there = to.open(name)) {
        close(there->descriptor);
        return true;
    }
    const auto copy = to.begin();
    bool isWritten = true;
    if (!eachPiece(from, name, [&](std::string_view bytes) { isWritten = isWritten && copy->write(bytes); }))
        return false;
    const auto made = isWritten ? copy->finish() : std::nullopt;
    if (!made) throw DiskRefusal("the copy of a file");
    if (*made != name) throw std::runtime_error("The file " + name + " is damaged: its content is another one.");
    to.place(*copy);
    return true;
}

} // namespace

Data openData(const std::string& folder) {
    const std::string path = folder + "/gallery.db";
    std::error_code error;
    fs::create_directories(folder, error);
    const auto refused = [&](const std::string& why) {
        return std::runtime_error("The data folder " + folder + " cannot be used (" + why +
                                  "). Choose another with --data, or let the gallery's user write there.");
    };
    if (error) throw refused(error.message());
    try {
        return {openSqliteDatabase(path), openMediaFolder(folder)};
    } catch (const DiskRefusal& refusal) {
        throw refused(refusal.what());
    } catch (const fs::filesystem_error& refusal) {
        throw refused(refusal.code().message());
    } catch (const SqliteError& problem) {
        if (!problem.isDamage) throw;
        throw std::runtime_error(
            "The database " + path + " is damaged (" + problem.what() +
            "). Put the one of your last backup in its place; the guide to running a gallery says how.");
    }
}

std::vector<std::string> problemsOf(Data& data) {
    std::vector<std::string> found = data.database->damage();
    for (const std::string& name : data.database->usedMedia()) {
        Digest digest;
        const bool isThere = eachPiece(*data.media, name, [&](std::string_view bytes) { digest.add(bytes); });
        // Its shader may have been deleted since the question.
        if (!isThere && data.database->isMediaUsed(name))
            found.push_back("The file " + name + " is missing.");
        else if (isThere && hexText(digest.end()) != name)
            found.push_back("The file " + name + " is damaged.");
    }
    return found;
}

void backUp(Data& data, const std::string& folder) {
    const fs::path whole = fs::path(folder) / "gallery.db", fresh = fs::path(folder) / "gallery.db.new";
    const auto forget = [](const fs::path& path) {
        for (const char* ending : {"", "-wal", "-shm"})
            fs::remove(path.string() + ending);
    };
    try {
        fs::create_directories(folder);
        if (fs::exists(folder + "/gallery.db-wal"))
            throw std::runtime_error("A gallery runs with the folder " + folder +
                                     ", or did not end well. Choose another one for the backup.");
        const auto media = openMediaFolder(folder);
        // A shader that is deleted while its files are copied takes some away: then the copy of the database has it no
        // more the next time.
        constexpr int tries = 20;
        for (int turn = 0;; ++turn) {
            forget(fresh);
            data.database->backUp(fresh);
            std::vector<std::string> names;
            {
                const auto copy = openSqliteDatabase(fresh);
                names = copy->usedMedia();
            }
            std::string missing;
            for (const std::string& name : names)
                if (!copyFile(*data.media, *media, name)) missing = name;
            if (missing.empty()) {
                fs::rename(fresh, whole);
                // What deleted shaders had goes from the copy as well.
                media->eachOlderThan(0, [&](const std::string& name) {
                    if (!std::ranges::binary_search(names, name)) media->remove(name);
                });
                return;
            }
            if (turn == tries) throw std::runtime_error("The file " + missing + " is missing: \"check\" tells more.");
        }
    } catch (const fs::filesystem_error& error) {
        throw std::runtime_error("The backup cannot be written to " + folder + ": " + error.code().message() + ".");
    } catch (const DiskRefusal& refusal) {
        throw std::runtime_error("The backup cannot be written to " + folder + ": there is no room, or no right to (" +
                                 refusal.what() + ").");
    }
}

} // namespace glasshob::gallery
