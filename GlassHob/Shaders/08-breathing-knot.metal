// Breathing Knot
//
// @grid 112
// @still 7
//
// A net of squares is rolled into a tube and the tube is tied into a knot. One side of the net runs along the knot, the
// other around the tube; corner() finds the place of each corner and the way its surface faces.

// @param loops 3.0 3.0 7.0 How many loops the knot has: three, five or seven
// @param girth 0.5 0.1 1.0 How thick the tube is
// @param breath 0.5 0.0 1.0 How deeply it breathes
// @param lines 24.0 0.0 60.0 Bands of gold inlaid along the tube
// @param speed 0.5 0.0 2.0 How fast it turns
// @param hue 0.0 0.0 1.0 The colour of the glaze

constant float tau = 6.2831853;

struct Vertex {
    float4 position [[position]];
    float3 at;
    float3 normal;
    float2 net;
};

// A place on a curve and the way the curve goes on from there.
struct Bend {
    float3 at;
    float3 ahead;
};

// The line in the middle of the tube: twice round the ring while it goes `loops` times through the hole. The
// derivative of every sine is a cosine, so the way ahead costs almost nothing.
Bend line(float along, float loops) {
    float ring = tau * along * 2.0;
    float hole = tau * along * loops;
    float2 round = float2(cos(ring), sin(ring));
    float2 through = float2(cos(hole), sin(hole));
    float r = 1.0 + 0.42 * through.x;
    Bend bend;
    bend.at = float3(r * round, 0.50 * through.y);
    float2 aside = 2.0 * r * float2(-round.y, round.x) - 0.42 * loops * through.y * round;
    bend.ahead = float3(aside, 0.50 * loops * through.x);
    return bend;
}

// The whole knot turns slowly, and the pointer turns it farther.
float3 turned(float3 x, constant Uniforms& u, constant Params& p) {
    float2 pointer = u.mouse / u.resolution - 0.5;
    float a = 0.4 * u.time * p.speed + 2.0 * pointer.x;
    float b = 0.60 + 0.25 * sin(0.23 * u.time * p.speed) + 1.5 * pointer.y;
    x = float3(x.x * cos(a) - x.y * sin(a), x.x * sin(a) + x.y * cos(a), x.z);
    return float3(x.x, x.y * cos(b) + x.z * sin(b), x.z * cos(b) - x.y * sin(b));
}

Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    float time = u.time * p.speed;
    Bend bend = line(grid.x, 2.0 * floor(0.5 * p.loops - 0.25) + 1.0);
    float pace = length(bend.ahead);
    float3 ahead = bend.ahead / pace;

    // From the middle line outwards, at right angles to it, all round.
    float3 out = normalize(bend.at - ahead * dot(bend.at, ahead));
    float3 side = cross(ahead, out);
    float turn = tau * grid.y;
    float3 round = cos(turn) * out + sin(turn) * side;

    // Swellings travel along the tube. Where it grows thicker the surface leans back, by as much as it grows per step.
    float wave = tau * (3.0 * grid.x - 0.12 * time);
    float girth = 0.10 + 0.22 * p.girth;
    float swell = 0.30 * p.breath * girth;

    Vertex v;
    v.at = turned(bend.at + (girth + swell * sin(wave)) * round, u, p);
    v.normal = turned(normalize(round - (3.0 * swell * cos(wave) / pace) * ahead), u, p);
    v.net = grid;

    // The eye is 4.6 before the middle and looks ahead: what is twice as far is half as large.
    float depth = 4.6 - v.at.z;
    float lens = 2.9;
    v.position = float4(v.at.x * lens * u.resolution.y / u.resolution.x, v.at.y * lens, 1.25 * (depth - 2.0), depth);
    return v;
}

// What the glaze mirrors: a dark room with a broad lamp above and a strip of cold light at the side.
float3 room(float3 way) {
    float3 c = mix(float3(0.05, 0.03, 0.05), float3(0.16, 0.22, 0.34), smoothstep(-0.6, 1.0, way.y));
    c += float3(2.4, 2.1, 1.8) * smoothstep(0.72, 0.92, dot(way, float3(0.36, 0.80, 0.48)));
    c += float3(0.5, 0.9, 1.5) * smoothstep(0.55, 0.95, -way.x) * smoothstep(0.8, 0.2, abs(way.y));
    return c + float3(0.9, 0.35, 0.12) * smoothstep(0.6, 1.0, -way.y);
}

float4 shade(Vertex v, constant Uniforms& u, constant Params& p) {
    float3 n = normalize(v.normal);
    float3 ray = normalize(v.at - float3(0.0, 0.0, 4.6));
    if (dot(n, ray) > 0.0) n = -n;

    // The glaze runs through related colours along the knot; the gold bands are drawn as wide as a pixel is fine.
    float3 glaze = 0.5 + 0.5 * cos(tau * (p.hue + 0.55 + 0.16 * sin(tau * v.net.x) + float3(0.0, 0.10, 0.24)));
    glaze = glaze * glaze * 0.75 + 0.02;
    float band = v.net.x * floor(p.lines) * 3.0 + 2.0 * v.net.y;
    float off = abs(fract(band) - 0.5) - 0.40;
    float gold = p.lines < 1.0 ? 0.0 : saturate(0.5 + off / max(fwidth(band), 0.0001));

    float3 lamp = normalize(float3(0.36, 0.80, 0.48));
    float light = saturate(0.25 + 0.75 * dot(n, lamp));
    float3 mirrored = room(reflect(ray, n));
    float grazing = pow(1.0 - saturate(-dot(n, ray)), 4.0);
    float3 ceramic = glaze * (0.12 + 1.1 * light) + mirrored * (0.06 + 0.7 * grazing);
    float3 metal = float3(1.0, 0.68, 0.28) * (0.12 + 0.25 * light + 0.9 * mirrored);
    float3 c = mix(ceramic, metal, gold);
    c *= 0.55 + 0.45 * smoothstep(-1.4, 1.2, v.at.z);
    return float4(sqrt(c / (1.0 + 0.5 * c)), 1.0);
}

float4 background(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = (uv - float2(0.5, 0.55)) * float2(u.resolution.x / u.resolution.y, 1.0);
    float3 warm = 0.5 + 0.5 * cos(tau * (p.hue + 0.08 + float3(0.0, 0.12, 0.2)));
    float3 c = float3(0.006, 0.008, 0.020) + 0.16 * warm * warm * exp(-4.5 * dot(q, q));
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, float2(0.06711056, 0.00583715))));
    return float4(sqrt(c) + (grain - 0.5) / 255.0, 1.0);
}
