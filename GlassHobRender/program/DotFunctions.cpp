#include "GlassHobRender/program/DotFunctions.h"

#include "GlassHobCore/shader/ShaderAssembler.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace glasshob {
namespace {

// '@' stands for a prefix that no name of the text before has, '$' for the first of all particles.

// The assembled text's own functions, word for word but for what makes them entry points. A macro of the author's does
// to them what it does there.
constexpr std::string_view assembledDrawing = R"metal(
GHDotOut @dotVertex(uint id, const device Particle* ps, constant Uniforms& u, constant Params& p) {
    float3 w = place(ps[id], u, p);
    GHDotOut o;
    o.position = float4(w.xy * 2.0 - 1.0, 0.0, 1.0);
    o.size = clamp(w.z * u.resolution.y, 0.0, 511.0);
    o.id = id;
    return o;
}

float4 @dotFragment(GHDotOut in, float2 pc, const device Particle* ps, constant Uniforms& u, constant Params& p) {
    return ink(ps[in.id], float2(pc.x * 2.0 - 1.0, 1.0 - pc.y * 2.0), u, p);
}
)metal";

constexpr std::string_view assembledStepping = R"metal(
void @spawnOne(device Particle* ps, constant Params& p, constant uint& count, uint i) {
    if (i >= count) return;
    ps[i] = spawn(i, p);
}

void @updateOne(device Particle* ps, constant Uniforms& u, constant Params& p, constant uint& count, uint i) {
    if (i >= count) return;
    Particle q = ps[i];
    update(q, i, u, p);
    ps[i] = q;
}
)metal";

constexpr std::string_view drawing = R"metal(
struct @Pass { float2 guard; float largestPoint; uint first; uint end; uint unused; };

static float @side(GHDotOut dot) {
    float side = dot.size;
    bool shown = metal::all(float3(-side, metal::abs(dot.position.xy)) < float3(0.0, 2.0e6, 2.0e6));
    return metal::select(0.0, metal::clamp(side, 1.0, 511.0), shown);
}

kernel void @scan(const device Particle* ps [[buffer(0)]],
                  constant Uniforms& u [[buffer(1)]],
                  constant Params& p [[buffer(2)]],
                  constant @Pass& d [[buffer(3)]],
                  device metal::atomic_uint* squares [[buffer(4)]],
                  uint i [[thread_position_in_grid]]) {
    if (i >= d.end - d.first) return;
    if (@side(@dotVertex(i + d.first, $, u, p)) > d.largestPoint)
        metal::atomic_store_explicit(&squares[1], d.end - d.first, metal::memory_order_relaxed);
}

kernel void @reset(device uint* squares [[buffer(0)]], uint i [[thread_position_in_grid]]) {
    if (i < 4) squares[i] = i == 0 ? 4 : 0;
}

vertex GHDotOut @point(uint id [[vertex_id]],
                       const device Particle* ps [[buffer(0)]],
                       constant Uniforms& u [[buffer(1)]],
                       constant Params& p [[buffer(2)]],
                       constant @Pass& d [[buffer(3)]]) {
    GHDotOut dot = @dotVertex(id, $, u, p);
    float side = @side(dot);
    bool shown = side > 0.0 && side <= d.largestPoint;
    dot.position = metal::select(float4(0.0, 0.0, 2.0, 1.0), float4(dot.position.xy / d.guard, 0.0, 1.0), bool4(shown));
    dot.size = metal::select(1.0, side, shown);
    return dot;
}

struct @Corner {
    float4 place [[position]];
    float2 at;
    uint number [[flat]];
};

vertex @Corner @square(uint corner [[vertex_id]],
                       uint i [[instance_id]],
                       const device Particle* ps [[buffer(0)]],
                       constant Uniforms& u [[buffer(1)]],
                       constant Params& p [[buffer(2)]],
                       constant @Pass& d [[buffer(3)]]) {
    GHDotOut dot = @dotVertex(i + d.first, $, u, p);
    float side = @side(dot);
    float2 way = float2(corner & 1, corner >> 1) * 2.0 - 1.0;
    @Corner result;
    result.place = float4((dot.position.xy + way * side / u.resolution) / d.guard, 0.0, 1.0);
    if (side <= d.largestPoint) result.place = float4(0.0, 0.0, 2.0, 1.0);
    result.at = float2(0.5 + 0.5 * way.x, 0.5 - 0.5 * way.y);
    result.number = dot.id;
    return result;
}

fragment float4 @squareInk(@Corner in [[stage_in]],
                           const device Particle* ps [[buffer(0)]],
                           constant Uniforms& u [[buffer(1)]],
                           constant Params& p [[buffer(2)]],
                           constant @Pass& d [[buffer(3)]]) {
    GHDotOut dot;
    dot.position = in.place;
    dot.size = 1.0;
    dot.id = in.number;
    return @dotFragment(dot, in.at, $, u, p);
}
)metal";

constexpr std::string_view stepping = R"metal(
kernel void @spawn(device Particle* ps [[buffer(0)]],
                   constant Params& p [[buffer(1)]],
                   constant @Pass& d [[buffer(3)]],
                   uint i [[thread_position_in_grid]]) {
    @spawnOne($, p, d.end, i + d.first);
}

kernel void @update(device Particle* ps [[buffer(0)]],
                    constant Uniforms& u [[buffer(1)]],
                    constant Params& p [[buffer(2)]],
                    constant @Pass& d [[buffer(4)]],
                    uint i [[thread_position_in_grid]]) {
    @updateOne($, u, p, d.end, i + d.first);
}

fragment float4 @pointInk(GHDotOut in [[stage_in]],
                          float2 pc [[point_coord]],
                          const device Particle* ps [[buffer(0)]],
                          constant Uniforms& u [[buffer(1)]],
                          constant Params& p [[buffer(2)]],
                          constant @Pass& d [[buffer(3)]]) {
    return @dotFragment(in, pc, $, u, p);
}
)metal";

// Names of the assembled text that mean the same in all of the host's functions, a macro of the author's included.
constexpr std::string_view shared[] = {"Particle", "Uniforms", "Params", "GHDotOut", "position", "size", "id"};

std::string prefixFor(std::string_view assembled) {
    std::string prefix = "gh_dots_";
    for (int number = 1; assembled.contains(prefix); ++number)
        prefix = "gh_dots" + std::to_string(number) + "_";
    return prefix;
}

std::string filledIn(std::string_view pattern, std::string_view prefix, std::string_view allParticles) {
    std::string text;
    for (const char c : pattern) {
        if (c == '@')
            text += prefix;
        else if (c == '$')
            text += allParticles;
        else
            text += c;
    }
    return text;
}

bool continuesName(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Every word of the text but the shared ones, once each. Numbers are none.
std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    for (std::size_t at = 0; at < text.size();) {
        if (!continuesName(text[at])) {
            ++at;
            continue;
        }
        const bool isNumber = std::isdigit(static_cast<unsigned char>(text[at])) != 0;
        std::size_t end = at;
        while (end < text.size() && (continuesName(text[end]) || (isNumber && text[end] == '.')))
            ++end;
        if (!isNumber) words.push_back(text.substr(at, end - at));
        at = end;
    }
    std::ranges::sort(words);
    const auto repeats = std::ranges::unique(words);
    words.erase(repeats.begin(), repeats.end());
    std::erase_if(words, [](std::string_view word) { return std::ranges::find(shared, word) != std::end(shared); });
    return words;
}

std::string lineMark() {
    return "\n#line 1 \"" + std::string(ShaderAssembler::hostFileName) + "\"";
}

} // namespace

DotFunctions dotFunctions(std::string_view assembled, bool inPieces) {
    const std::string prefix = prefixFor(assembled);
    const std::string_view particles = inPieces ? "ps - d.first" : "ps";
    std::string body = filledIn(drawing, prefix, particles);
    if (inPieces) body += filledIn(stepping, prefix, particles);

    DotFunctions made;
    made.text = lineMark();
    made.text += filledIn(assembledDrawing, prefix, particles);
    if (inPieces) made.text += filledIn(assembledStepping, prefix, particles);
    for (const std::string_view word : wordsOf(body)) {
        made.text += "\n#undef ";
        made.text += word;
    }
    made.text += lineMark();
    made.text += body;
    made.spawn = inPieces ? prefix + "spawn" : std::string(ShaderAssembler::spawnEntry);
    made.update = inPieces ? prefix + "update" : std::string(ShaderAssembler::updateEntry);
    made.pointVertex = prefix + "point";
    made.pointFragment = inPieces ? prefix + "pointInk" : std::string(ShaderAssembler::dotFragmentEntry);
    made.squareVertex = prefix + "square";
    made.squareFragment = prefix + "squareInk";
    made.scan = prefix + "scan";
    made.reset = prefix + "reset";
    return made;
}

} // namespace glasshob
