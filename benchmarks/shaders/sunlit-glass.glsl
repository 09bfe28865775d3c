// The twin of the sample "Sunlit Glass".
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float pieces; float lead; float rays; float unrest; float relief; float light;
} p;
vec2 hash(vec2 cell) {
    vec3 n = fract(cell.xyx * vec3(0.1031, 0.1030, 0.0973));
    n += dot(n, n.yzx + 33.33);
    return fract((n.xx + n.yz) * n.zy);
}

float noise(vec2 x) {
    vec2 i = floor(x);
    vec2 f = smoothstep(0.0, 1.0, x - i);
    float low = mix(hash(i).x, hash(i + vec2(1.0, 0.0)).x, f.x);
    float high = mix(hash(i + vec2(0.0, 1.0)).x, hash(i + vec2(1.0, 1.0)).x, f.x);
    return mix(low, high, f.y);
}

vec2 seed(vec2 cell, float time, float unrest) {
    vec2 h = hash(cell);
    vec2 turn = 2.0 * fract(h + time * (0.05 + 0.06 * h.yx)) - 1.0;
    return cell + 0.5 + 0.42 * mix(2.0 * h - 1.0, 4.0 * turn * (1.0 - abs(turn)), unrest);
}

vec3 design(vec2 q, float chance, float time, float rays) {
    vec2 fromSun = q - vec2(0.0, 0.06);
    float r = length(fromSun);
    float turn = atan(fromSun.y, fromSun.x) / 6.2831853 + 0.01 * time;
    float ray = 0.5 + 0.5 * cos(6.2831853 * turn * floor(rays) + 2.5 * sin(3.0 * r - 0.2 * time));

    vec3 sky = mix(vec3(0.10, 0.42, 0.66), vec3(0.04, 0.07, 0.36), smoothstep(0.2, 0.75, r));
    vec3 beam = mix(vec3(0.98, 0.50, 0.10), vec3(0.60, 0.06, 0.22), smoothstep(0.25, 0.7, r));
    beam = mix(beam, vec3(0.20, 0.05, 0.34), smoothstep(0.6, 1.0, r));
    vec3 c = mix(sky, beam, smoothstep(0.46, 0.56, ray) * smoothstep(1.15, 0.8, r));
    c = mix(c, vec3(0.95, 0.30, 0.05), smoothstep(0.30, 0.26, r));
    c = mix(c, vec3(1.00, 0.80, 0.28), smoothstep(0.20, 0.17, r));

    float hills = 0.09 * sin(3.1 * q.x + 0.6) + 0.04 * sin(7.3 * q.x);
    vec3 meadow = mix(vec3(0.02, 0.30, 0.20), vec3(0.35, 0.50, 0.08), chance);
    c = mix(c, meadow, smoothstep(-0.26, -0.32, q.y - hills));
    c = mix(c, vec3(0.03, 0.30, 0.42), smoothstep(-0.42, -0.46, q.y - 0.5 * hills));

    return c * (0.75 + 0.5 * chance) + 0.03 * chance;
}

vec4 shade(vec2 uv) {
    vec2 q = (uv - 0.5) * vec2(u.resolution.x / u.resolution.y, 1.0);
    float pixel = p.pieces / u.resolution.y;
    vec2 x = q * p.pieces;
    vec2 home = floor(x);


    vec2 nearest = vec2(0.0);
    vec2 chosen = home;
    float best = 64.0;
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            vec2 cell = home + vec2(float(i), float(j));
            vec2 to = seed(cell, u.time, p.unrest) - x;
            if (dot(to, to) < best) {
                best = dot(to, to);
                nearest = to;
                chosen = cell;
            }
        }
    }



    float edge = 8.0;
    vec2 across = vec2(0.0);
    for (int j = -1; j <= 1; j++) {
        for (int i = -1; i <= 1; i++) {
            if (i == 0 && j == 0) continue;
            vec2 to = seed(chosen + vec2(float(i), float(j)), u.time, p.unrest) - x;
            vec2 apart = to - nearest;
            vec2 way = apart * inversesqrt(dot(apart, apart));
            float away = 0.5 * dot(nearest + to, way);
            float h = clamp(0.5 + 4.0 * (edge - away), 0.0, 1.0);
            edge = mix(edge, away, h) - 0.125 * h * (1.0 - h);
            across = mix(across, way, h);
        }
    }


    float chance = hash(chosen + 71.0).x;
    vec3 glass = design((x + nearest) / p.pieces, chance, u.time, p.rays);
    vec2 wave = x * (1.5 + chance) + 13.0 * chance;
    float relief = noise(wave * vec2(1.0, 2.6)) + 0.5 * noise(wave * 3.7);
    vec2 spot = q - vec2(0.25 * sin(0.13 * u.time), 0.06);
    float day = 0.55 + 1.1 * p.light * exp(-2.2 * dot(spot, spot));
    vec3 c = glass * day * (1.0 + 0.9 * p.relief * (relief - 0.75));
    c += glass * glass * (1.4 * p.light * smoothstep(0.05, 0.6, edge));


    float width = 0.02 + 0.09 * p.lead;
    float slope = clamp(edge / width, 0.0, 1.0);
    float shine = clamp(dot(across, vec2(0.55, -0.83)) * slope, 0.0, 1.0);
    vec3 lead = vec3(0.018, 0.020, 0.026) + vec3(0.10, 0.11, 0.13) * shine * shine;
    lead += 0.10 * glass * slope * slope * slope;
    c = mix(lead, c, clamp(0.5 + (edge - width) / pixel, 0.0, 1.0));

    c *= 1.0 - 0.35 * dot(uv - 0.5, uv - 0.5);
    return vec4(c, 1.0);
}
