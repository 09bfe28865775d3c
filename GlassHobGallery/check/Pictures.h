#pragma once

// Reads a film or a picture that a stranger sent, all of it, and makes a small one for lists. Only in a process without
// rights: what is read here attacks the readers. Errors are sentences for the person.

#include <expected>
#include <string>
#include <string_view>

namespace glasshob::gallery {

struct MovieFacts {
    int width = 0, height = 0;
    double seconds = 0;
    bool hasSound = false;
    // A silent MP4 of at most 640 x 360.
    std::string small;
};
// An MP4 of at most 20 s and 1920 pixels a side with one H.264 film and at most one AAC track; every frame is decoded.
std::expected<MovieFacts, std::string> readMovie(std::string_view bytes);

struct PictureFacts {
    int width = 0, height = 0;
    // A JPEG of at most 640 x 360.
    std::string small;
};
// A whole JPEG of 64 to 4096 pixels a side.
std::expected<PictureFacts, std::string> readPicture(std::string_view bytes);

} // namespace glasshob::gallery
