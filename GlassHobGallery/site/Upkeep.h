#pragma once

// What an administrator of the machine does to a gallery's data, while it serves or not.

#include "GlassHobGallery/data/Database.h"
#include "GlassHobGallery/data/MediaStore.h"

#include <string>
#include <vector>

namespace glasshob::gallery {

// The database and the media of a data folder, which is made.
struct Data {
    std::unique_ptr<Database> database;
    std::unique_ptr<MediaStore> media;
};
// Throws std::runtime_error with a sentence when the folder cannot be used.
Data openData(const std::string& folder);

// A sentence for everything that is wrong: in the database, and with the files that it names, whose content is read.
std::vector<std::string> problemsOf(Data& data);

// Writes a data folder like this one, while this one is in use: the database, and every file that it names. Files that
// are there already stay, so that a backup into the same folder takes only what is new. Throws std::runtime_error with
// a sentence; what was there before is then still whole.
void backUp(Data& data, const std::string& folder);

} // namespace glasshob::gallery
