// Takes a movie file apart with the libraries' own demuxer and decoders, for tests of what was written.
#pragma once

#include "GlassHobRender/formats/MovieWriter.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace glasshob::testing {

struct ReadMovie {
    struct Picture {
        double time = 0; // seconds
        bool isKey = false;
        int width = 0, height = 0;
        std::vector<std::uint8_t> y, u, v; // planes without gaps; chroma half of each side

        std::vector<std::uint8_t> bgra; // instead of planes, of formats that have a palette

        // The pixel as red, green and blue of 0 to 255, by the Rec. 709 matrix from limited range.
        struct Color {
            double red = 0, green = 0, blue = 0;
        };
        Color at(int x, int y) const;
    };
    std::string videoCodec, videoTag, profile;
    int primaries = 0, transfer = 0, matrix = 0, range = 0;
    std::vector<Picture> pictures;
    bool hasSound = false;
    int soundRate = 0, soundChannels = 0;
    double soundStart = 0;                     // of the first sample that is played
    double videoSeconds = 0, soundSeconds = 0; // as the tracks tell them
    std::vector<float> left, right;
    std::vector<MovieChapter> chapters;
    std::string error; // why it could not be read
};

ReadMovie readMovie(const std::string& path);

// Whether the index stands before the media data.
bool beginsWithIndex(const std::string& path);

} // namespace glasshob::testing
