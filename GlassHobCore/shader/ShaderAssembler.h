#pragma once

// Wraps the user's shader text in host code, so that one complete shading-language source results, with fixed entry
// points that the renderer looks up by name. Decides which of the three kinds of shader the text is, how many
// particles or cells it asks for, and which optional functions it defines. Pure text work, linear in the source, and
// it never fails: a text that will not compile still assembles. Any thread.

#include "GlassHobCore/shader/Params.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

enum class ShaderKind {
    // One full-screen pass that calls `shade(uv, u, p)` for each pixel.
    fragment,
    // Particles spawned, moved and drawn as dots over a fading trail picture.
    particles,
    // A mesh of N by N squares whose corners the shader places and shades.
    grid,
};

// "fragment", "particles" or "grid": the form in which a kind is stored and sent.
std::string_view rawValue(ShaderKind kind);
std::optional<ShaderKind> shaderKind(std::string_view rawValue);

struct AssembledShader {
    // The complete library source.
    std::string source;
    std::vector<ParamDecl> params;
    // The source defines `sound()`; the sound kernel is present.
    bool hasSound = false;
    // Above 0 only for the particles kind.
    std::int64_t particles = 0;
    // Particles kind only: the source defines `fade()`.
    bool hasFade = false;
    // Cells per side; above 0 only for the grid kind.
    std::int64_t grid = 0;
    // Grid kind only: the source defines `background()`.
    bool hasBackground = false;

    // Grid when there are cells, else particles when there are particles, else fragment.
    ShaderKind kind() const;

    bool operator==(const AssembledShader&) const = default;
};

namespace ShaderAssembler {

// Entry points of the assembled source.
inline constexpr std::string_view vertexEntry = "gh_vertex";
inline constexpr std::string_view fragmentEntry = "gh_fragment";
inline constexpr std::string_view soundEntry = "gh_sound";
inline constexpr std::string_view particleSizeEntry = "gh_particle_size";
inline constexpr std::string_view spawnEntry = "gh_spawn";
inline constexpr std::string_view updateEntry = "gh_update";
inline constexpr std::string_view fadeEntry = "gh_fade";
inline constexpr std::string_view dotVertexEntry = "gh_dot_vertex";
inline constexpr std::string_view dotFragmentEntry = "gh_dot_fragment";
inline constexpr std::string_view gridVertexEntry = "gh_grid_vertex";
inline constexpr std::string_view gridFragmentEntry = "gh_grid_fragment";
inline constexpr std::string_view backgroundEntry = "gh_background";

// The file name under which the user's lines are numbered, from 1.
inline constexpr std::string_view userFileName = "shader.metal";
// The file name under which the host's own lines are numbered.
inline constexpr std::string_view hostFileName = "gh_host";

inline constexpr int soundSampleRate = 48000;
inline constexpr std::int64_t particleLimit = 4'000'000;
inline constexpr std::int64_t gridLimit = 1024;

// What a particle or a grid shader must define; shown when the host code cannot find one of these functions.
extern const std::string_view particleHelp;
extern const std::string_view gridHelp;

AssembledShader assemble(std::string_view source);

// The kind as reported for a source. A source that asks for particles and for a grid is reported as
// particles although it assembles as a grid.
ShaderKind kind(std::string_view source);

// The first line, from 1, that begins with a function's return type, its name and a parenthesis, which is what an
// optional function is known by; nothing when no line does.
std::optional<std::int64_t> definitionLine(std::string_view source, std::string_view type, std::string_view name);

// The counts that the source asks for, held to the limits; 0 when it asks for none.
std::int64_t particleCount(std::string_view source);
std::int64_t gridCells(std::string_view source);

} // namespace ShaderAssembler

namespace ShaderTemplate {

// The text of a new shader: a per-pixel picture with three sliders and a sound.
std::string make(std::string_view title);

} // namespace ShaderTemplate
} // namespace glasshob
