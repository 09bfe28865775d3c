// Sunlit Glass
//
// @still 8
//
// A window of coloured glass. The plane is cut into pieces: every cell of a grid has a seed somewhere in it, and each
// point belongs to the seed that is nearest. A piece has one colour, that of the design at its seed.

// @param pieces 15.0 4.0 24.0 How many pieces fit into the height of the window
// @param lead 0.4 0.1 1.0 How wide the lead between the pieces is
// @param rays 12.0 5.0 30.0 How many rays the sun has
// @param unrest 0.6 0.0 1.0 How far the pieces wander
// @param relief 0.6 0.0 1.0 How wavy the glass is
// @param light 0.55 0.0 1.0 How bright the day behind the window is

// Two numbers between 0 and 1 for every cell.
float2 hash(float2 cell) {
    float3 n = fract(cell.xyx * float3(0.1031, 0.1030, 0.0973));
    n += dot(n, n.yzx + 33.33);
    return fract((n.xx + n.yz) * n.zy);
}

float noise(float2 x) {
    float2 i = floor(x);
    float2 f = smoothstep(0.0, 1.0, x - i);
    float low = mix(hash(i).x, hash(i + float2(1.0, 0.0)).x, f.x);
    float high = mix(hash(i + float2(0.0, 1.0)).x, hash(i + float2(1.0, 1.0)).x, f.x);
    return mix(low, high, f.y);
}

// Where the seed of a cell is now: it swings about the middle, on a wave made of parabolas, which is faster than sin().
float2 seed(float2 cell, float time, float unrest) {
    float2 h = hash(cell);
    float2 turn = 2.0 * fract(h + time * (0.05 + 0.06 * h.yx)) - 1.0;
    return cell + 0.5 + 0.42 * mix(2.0 * h - 1.0, 4.0 * turn * (1.0 - abs(turn)), unrest);
}

// The picture that is done in glass: a sun, its rays, a deep sky and hills.
float3 design(float2 q, float chance, float time, float rays) {
    float2 fromSun = q - float2(0.0, 0.06);
    float r = length(fromSun);
    float turn = atan2(fromSun.y, fromSun.x) / 6.2831853 + 0.01 * time;
    float ray = 0.5 + 0.5 * cos(6.2831853 * turn * floor(rays) + 2.5 * sin(3.0 * r - 0.2 * time));

    float3 sky = mix(float3(0.10, 0.42, 0.66), float3(0.04, 0.07, 0.36), smoothstep(0.2, 0.75, r));
    float3 beam = mix(float3(0.98, 0.50, 0.10), float3(0.60, 0.06, 0.22), smoothstep(0.25, 0.7, r));
    beam = mix(beam, float3(0.20, 0.05, 0.34), smoothstep(0.6, 1.0, r));
    float3 c = mix(sky, beam, smoothstep(0.46, 0.56, ray) * smoothstep(1.15, 0.8, r));
    c = mix(c, float3(0.95, 0.30, 0.05), smoothstep(0.30, 0.26, r));
    c = mix(c, float3(1.00, 0.80, 0.28), smoothstep(0.20, 0.17, r));

    float hills = 0.09 * sin(3.1 * q.x + 0.6) + 0.04 * sin(7.3 * q.x);
    float3 meadow = mix(float3(0.02, 0.30, 0.20), float3(0.35, 0.50, 0.08), chance);
    c = mix(c, meadow, smoothstep(-0.26, -0.32, q.y - hills));
    c = mix(c, float3(0.03, 0.30, 0.42), smoothstep(-0.42, -0.46, q.y - 0.5 * hills));
    // No two sheets of glass are quite alike.
    return c * (0.75 + 0.5 * chance) + 0.03 * chance;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = (uv - 0.5) * float2(u.resolution.x / u.resolution.y, 1.0);
    float pixel = p.pieces / u.resolution.y; // one pixel, in cells
    float2 x = q * p.pieces;
    float2 home = floor(x);

    // First look: which seed is nearest?
    float2 nearest = float2(0.0);
    float2 chosen = home;
    float best = 64.0;
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            float2 cell = home + float2(float(i), float(j));
            float2 to = seed(cell, u.time, p.unrest) - x;
            if (dot(to, to) < best) {
                best = dot(to, to);
                nearest = to;
                chosen = cell;
            }
        }
    }

    // Second look: how far is the border, the line halfway to a neighbour? Where two borders meet, a soft minimum
    // rounds the corner off, as the solder does.
    float edge = 8.0;
    float2 across = float2(0.0);
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            if (i == 0 && j == 0) continue;
            float2 to = seed(chosen + float2(float(i), float(j)), u.time, p.unrest) - x;
            float2 apart = to - nearest;
            float2 way = apart * rsqrt(dot(apart, apart));
            float away = 0.5 * dot(nearest + to, way);
            float h = saturate(0.5 + 4.0 * (edge - away));
            edge = mix(edge, away, h) - 0.125 * h * (1.0 - h);
            across = mix(across, way, h);
        }
    }

    // The light of the day comes through, strongest around a bright spot that wanders from side to side.
    float chance = hash(chosen + 71.0).x;
    float3 glass = design((x + nearest) / p.pieces, chance, u.time, p.rays);
    float2 wave = x * (1.5 + chance) + 13.0 * chance;
    float relief = noise(wave * float2(1.0, 2.6)) + 0.5 * noise(wave * 3.7);
    float2 spot = q - float2(0.25 * sin(0.13 * u.time), 0.06);
    float day = 0.55 + 1.1 * p.light * exp(-2.2 * dot(spot, spot));
    float3 c = glass * day * (1.0 + 0.9 * p.relief * (relief - 0.75));
    c += glass * glass * (1.4 * p.light * smoothstep(0.05, 0.6, edge));

    // The lead is round: the side that faces up and left catches the light of the room.
    float width = 0.02 + 0.09 * p.lead;
    float slope = saturate(edge / width);
    float shine = saturate(dot(across, float2(0.55, -0.83)) * slope);
    float3 lead = float3(0.018, 0.020, 0.026) + float3(0.10, 0.11, 0.13) * shine * shine;
    lead += 0.10 * glass * slope * slope * slope;
    c = mix(lead, c, saturate(0.5 + (edge - width) / pixel));

    c *= 1.0 - 0.35 * dot(uv - 0.5, uv - 0.5);
    return float4(c, 1.0);
}
