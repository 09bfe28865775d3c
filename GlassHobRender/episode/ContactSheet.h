#pragma once

// One picture of many variations: small stills in rows, each with its number and what it changes most. The same input
// paints the same bytes. Any thread of a process with an application.

#include <QImage>

#include <cstdint>
#include <string>
#include <vector>

namespace glasshob {

struct ContactTile {
    // Drawn to fill the tile; a null image leaves it dark.
    QImage still;
    std::int64_t number = 0;
    // "speed 1.25, hue 0.4"; cut with "…" where it has no room.
    std::string text;
    // Whether the video shows it.
    bool isChosen = false;
};

// Pixels of a still in the sheet.
inline constexpr int contactWidth = 384, contactHeight = 216;

// Six tiles in a row under the title. Null when there was no memory.
QImage paintContactSheet(const std::string& title, const std::string& subtitle, const std::vector<ContactTile>& tiles);

} // namespace glasshob
