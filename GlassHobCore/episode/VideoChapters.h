#pragma once

// The chapters of a video, and the JSON file that lists them beside it:
//
//     { "duration": 95, "chapters": [ { "at": 5, "title": "speed 1.25", "settings": "hue 0.4, speed 1.25" } ] }
//
// Values; any thread.

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

struct VideoChapters {
    struct Chapter {
        // Seconds from the start of the video.
        double at = 0;
        std::string title;
        // The slider values as text; absent where a chapter has none of its own.
        std::optional<std::string> settings;

        bool operator==(const Chapter&) const = default;
    };

    // Seconds.
    double duration = 0;
    // In the order of time.
    std::vector<Chapter> chapters;

    // UTF-8 with the keys in the order of the fields, and a line feed at its end. Times that are not finite, which
    // JSON has no number for, become 0.
    std::string json() const;
    // A line for each chapter, as the descriptions of video sites have them: "0:00 Smoke rings".
    std::string lines() const;
    // Reads what `json` writes; keys that are not known are passed over. The error is a whole sentence.
    static std::expected<VideoChapters, std::string> fromJson(std::string_view text);

    bool operator==(const VideoChapters&) const = default;
};

} // namespace glasshob
