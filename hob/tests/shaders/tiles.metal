// Truchet tiles: integer hashing with bit operations, a switch, arrays, a reference parameter and a mod of one's own.
// @param count 8 2 24 Tiles from bottom to top

constant float3 ramp[] = { float3(0.04, 0.03, 0.05), float3(0.55, 0.16, 0.10), float3(0.93, 0.58, 0.22), float3(0.98, 0.93, 0.80) };

uint scramble(uint x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    return x ^ (x >> 16);
}

float mod(float x, float y) { return x - y * floor(x / y); }

void turn(thread float2& at, uint quarter) {
    switch (quarter & 3u) {
    case 1: at = float2(-at.y, at.x); break;
    case 2: at = -at; break;
    case 3: at = float2(at.y, -at.x); break;
    default: break;
    }
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = uv * floor(p.count);
    q.x *= u.resolution.x / u.resolution.y;
    int2 cell = int2(floor(q));
    uint id = scramble(uint(cell.x) * 73856093u ^ uint(cell.y) * 19349663u ^ uint(u.time * 0.25f));
    float2 at = fract(q) - 0.5;
    turn(at, id);
    float arcs[2] = { abs(length(at - 0.5) - 0.5), abs(length(at + 0.5) - 0.5) };
    float d = arcs[0];
    for (int i = 1; i < 2; ++i) d = min(d, arcs[i]);
    float band = mod(d * 12.0 - u.time, 3.0);
    int low = clamp(int(band), 0, 2);
    float3 c = mix(ramp[low], ramp[low + 1], smoothstep(0.3, 0.7, band - float(low)));
    return float4(c * (1.1 - 0.9 * d), 1.0);
}
