// Blue Hour
//
// @still 20
//
// Mountains behind mountains, a lake, and one evening from the last sun to the stars. Every ridge is a single line of
// noise. What lies farther away is paler, for there is more air before it: that alone makes the depth.

// @param hour 0.34 0.0 1.0 From the last of the sun to a night of stars
// @param drift 0.5 0.0 2.0 How fast the land passes by
// @param rugged 0.5 0.0 1.0 From rolling hills to jagged peaks
// @param mist 0.5 0.0 1.0 How much mist lies in the valleys
// @param ripple 0.4 0.0 1.0 How restless the water is
// @param volume 0.5 0.0 1.0 Loudness of the bells

constant int ridges = 5;

// A number between 0 and 1 that looks random, but is always the same for the same n.
float hash(float n) {
    n = fract(n * 0.1031);
    n *= n + 33.33;
    return fract(n * (n + n));
}

// Random heights at the whole numbers, joined by smooth curves; on the plane, the heights of four corners.
float noise(float x) {
    float i = floor(x);
    float f = x - i;
    return mix(hash(i), hash(i + 1.0), f * f * (3.0 - 2.0 * f));
}

float noise(float2 x) {
    float row = floor(x.y);
    float f = x.y - row;
    return mix(noise(x.x + 57.0 * row), noise(x.x + 57.0 * row + 57.0), f * f * (3.0 - 2.0 * f));
}

// The outline of a range: large waves, and on them ever smaller ones. Folding a wave at its middle gives it a crest.
float outline(float x, float rugged) {
    float sum = 0.0;
    float size = 0.5;
    for (int i = 0; i < 4; i++) {
        float n = noise(x);
        sum += size * mix(n, 1.0 - abs(2.0 * n - 1.0), 0.8 * rugged);
        size *= 0.36 + 0.12 * rugged;
        x = 2.1 * x + 19.7;
    }
    return sum;
}

// A row of firs: a pointed triangle in every cell, with branches, and now and then a gap.
float firs(float x) {
    float n = hash(floor(x));
    float tree = 1.0 - 2.0 * abs(fract(x) - 0.5);
    return tree * (0.85 + 0.15 * fract(4.0 * tree)) * (0.03 + 0.17 * n * step(0.2, n));
}

// A colour for each part of the evening: sunset, blue hour, night.
float3 evening(float3 sunset, float3 blue, float3 night, float hour) {
    return mix(mix(sunset, blue, smoothstep(0.0, 0.55, hour)), night, smoothstep(0.45, 1.0, hour));
}

// Scattered points of light, at most one in a cell, each twinkling at a pace of its own.
float stars(float2 q, float time, float pixel) {
    float2 cell = floor(q * 34.0);
    float n = hash(cell.x + 131.0 * cell.y);
    float2 at = 0.2 + 0.6 * float2(hash(n * 917.0), hash(n * 331.0));
    float away = length(q * 34.0 - cell - at) / 34.0;
    float size = max(pixel, 0.0016);
    float twinkle = 0.65 + 0.35 * sin(time * (0.7 + 2.0 * n) + 40.0 * n);
    return n * n * n * twinkle * saturate(1.5 - away / size);
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    // The shore is the line q.y = 0. Below it lies the same world once more, upside down and shaken by the ripples.
    float pixel = 1.0 / u.resolution.y;
    float2 q = float2((uv.x - 0.5) * u.resolution.x / u.resolution.y, uv.y - 0.30);
    float depth = max(-q.y, 0.0);
    float2 lake = float2(q.x, 1.0) / (depth + 0.02);
    float swell = noise(float2(2.6, 4.6) * lake + float2(0.5, 1.3) * u.time) - 0.5;
    swell += 0.5 * noise(float2(5.9, 8.7) * lake - float2(0.8, 1.9) * u.time) - 0.25;
    q = float2(q.x, abs(q.y) + 0.6 * p.ripple * depth * swell);

    // The sky.
    float3 low = evening(float3(1.00, 0.58, 0.30), float3(0.66, 0.46, 0.58), float3(0.10, 0.16, 0.28), p.hour);
    float3 high = evening(float3(0.24, 0.32, 0.56), float3(0.08, 0.12, 0.33), float3(0.008, 0.014, 0.045), p.hour);
    float3 c = mix(low, high, smoothstep(0.02, 0.62, q.y));
    c += smoothstep(0.4, 0.95, p.hour) * smoothstep(0.1, 0.4, q.y) * stars(q, u.time, pixel);

    // The sun goes down on the right, and its light stays a while; the moon comes up on the left.
    float fromSun = distance(q, float2(0.30, 0.27 - 0.55 * p.hour));
    float3 sunColor = mix(float3(1.0, 0.74, 0.42), float3(1.0, 0.36, 0.20), saturate(2.0 * p.hour));
    float dusk = 1.0 - smoothstep(0.3, 0.8, p.hour);
    c += dusk * sunColor * (0.55 * exp(-4.5 * fromSun) + saturate((0.055 - fromSun) / pixel));
    float2 moon = q - float2(-0.42, 0.62 * p.hour - 0.12);
    float crescent = min(0.040 - length(moon), length(moon - float2(0.017, 0.012)) - 0.036);
    float night = smoothstep(0.25, 0.7, p.hour);
    c += night * float3(0.80, 0.86, 1.0) * (0.9 * saturate(crescent / pixel) + 0.16 * exp(-7.0 * length(moon)));

    // Long thin clouds, lit from below.
    float2 band = float2(2.3 * q.x + 0.03 * p.drift * u.time, 21.0 * q.y - 1.6 * q.x);
    float cloud = 0.55 * noise(band) + 0.3 * noise(2.3 * band + 9.0) + 0.15 * noise(5.1 * band);
    cloud = smoothstep(0.48, 0.85, cloud) * smoothstep(0.12, 0.30, q.y) * smoothstep(0.62, 0.40, q.y);
    c = mix(c, mix(low, sunColor, 0.7 * dusk), 0.6 * cloud);

    // The ridges, from the farthest to the nearest, each painted over the ones behind it.
    float3 ink = evening(float3(0.13, 0.07, 0.13), float3(0.025, 0.035, 0.095), float3(0.004, 0.008, 0.022), p.hour);
    for (int i = 0; i < ridges; i++) {
        float near = float(i) / float(ridges - 1);
        float passed = p.drift * u.time * (0.02 + 0.16 * near * near);
        float x = q.x * mix(2.1, 1.5, near) + passed + 37.0 * float(i);
        float top = mix(0.10, -0.07, near) + mix(0.26, 0.17, near) * outline(x, p.rugged * (1.0 - 0.4 * near));
        if (i >= 3) top += smoothstep(-0.03, 0.02, top) * 0.9 * (near - 0.7) * firs((95.0 - 40.0 * near) * x);

        // fwidth() is how much a value changes from one pixel to the next. An edge just that wide is smooth.
        float below = top - q.y;
        float covered = saturate(0.5 + below / fwidth(below));
        float fog = p.mist * exp(-16.0 * max(q.y, 0.0) / (0.4 + 0.6 * (1.0 - near))) * (1.0 - 0.7 * near);
        float3 hill = mix(mix(low, high, 0.35 + 0.4 * near), ink, 0.12 + 0.88 * near);
        c = mix(c, mix(hill, mix(low, float3(1.0), 0.12), fog), covered);
    }

    // Water gives back less of what it mirrors the more steeply one looks at it.
    float3 water = mix(c, 0.7 * high, 0.15 + 0.9 * depth);
    c = mix(c, water, saturate(0.5 + (0.30 - uv.y) / pixel));

    c *= 1.0 - 0.25 * dot(uv - 0.5, uv - 0.5);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, float2(0.06711056, 0.00583715))));
    return float4(c + (grain - 0.5) / 255.0, 1.0);
}

// ---- The sound: small bells, far apart, with an echo from the other shore ------------------------------------------

// Five notes that never quarrel, and two of them an octave higher.
constant float notes[7] = { 220.00, 261.63, 293.66, 349.23, 392.00, 440.00, 523.25 };

// A bell is a few tones that do not fit one another; the high ones die away first.
float bell(float cycles, float age) {
    const float tau = 6.2831853;
    float tone = sin(tau * cycles) * exp(-1.1 * age);
    tone += 0.45 * sin(tau * 2.756 * cycles) * exp(-2.6 * age);
    tone += 0.20 * sin(tau * 5.404 * cycles) * exp(-6.0 * age);
    return tone * smoothstep(0.0, 0.006, age);
}

// Every 0.8 s there may be a stroke; each rings for five seconds.
float2 bells(float t) {
    float2 sum = float2(0.0);
    int now = int(floor(t / 0.8));
    for (int back = 0; back < 7; back++) {
        float n = float(now - back);
        if (n < 0.0 || hash(n + 0.5) < 0.42) continue;
        float age = t - 0.8 * n;
        float note = notes[min(int(7.0 * hash(3.0 * n + 11.0)), 6)];
        float side = 0.2 + 0.6 * hash(7.0 * n + 5.0);
        float ending = smoothstep(5.6, 4.2, age);
        sum += ending * (0.5 + 0.5 * hash(n + 77.0)) * bell(note * age, age) * float2(1.0 - side, side);
    }
    return sum;
}

float2 sound(float t, constant Params& p) {
    float2 near = bells(t);
    float2 far = bells(max(t - 0.53, 0.0)).yx + 0.5 * bells(max(t - 1.19, 0.0));
    return 0.45 * p.volume * (near + 0.35 * far);
}
