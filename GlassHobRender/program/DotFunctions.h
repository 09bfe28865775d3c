#pragma once

// The host's own functions behind an assembled particle shader, as text in the shading language: they draw its dots the
// same on every device (see ParticleSimulation), and step particles that lie in more than one buffer. They reach the
// author's functions through copies of the assembled text's own functions, and undo every macro that could reach the
// rest: whatever macros and names an author has, they compile where the assembled text does. Pure; any thread.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace glasshob {

// What the functions know of the particles that they draw or step, as the text declares it.
struct DotPass {
    // How many times a side of the picture the viewport is.
    std::array<float, 2> guard{1, 1};
    // Larger dots are left to the squares.
    float largestPoint = 0;
    // The particles of the buffer: from `first` on and before `end`.
    std::uint32_t first = 0;
    std::uint32_t end = 0;
    std::uint32_t unused = 0;

    std::uint32_t count() const { return end - first; }
};
static_assert(sizeof(DotPass) == 24);

// The text, and what the entry points are called by which a simulation runs. Each takes the arguments of the entry
// point that it stands for, at the same indices.
struct DotFunctions {
    std::string text;
    std::string spawn;
    std::string update;
    std::string pointVertex;
    std::string pointFragment;
    std::string squareVertex;
    std::string squareFragment;
    std::string scan;
    std::string reset;

    // Where the pass lies among the buffers of each function.
    static constexpr std::uint32_t spawnPass = 3;
    static constexpr std::uint32_t updatePass = 4;
    static constexpr std::uint32_t drawPass = 3;
    // The counts of an indirect draw of squares, in scan.
    static constexpr std::uint32_t squareCounts = 4;
};

// `assembled` is the source that the text will follow. With `inPieces` the buffer of particles may hold a part of
// them; otherwise it holds all, and the assembled text's own functions step them.
DotFunctions dotFunctions(std::string_view assembled, bool inPieces);

} // namespace glasshob
