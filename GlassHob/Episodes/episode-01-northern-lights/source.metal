// Northern Lights
//
// @episode 1 Northern Lights
// @length 40
// @variation 15
// @variations 2, 5, 7, 12
// @still 12
// @teaches Light that is sharp below and soft above, folded, and laid over itself
// @category Light
// @tags aurora, night, waves, reflection
// @final The lake | Below the shore the sky is drawn once more: upside down, rippled, and a little darker.

// @param speed 0.5 0.0 1.5 How fast the curtains move
// @param folds 0.5 0.0 1.0 How deeply they are folded
// @param reach 0.5 0.1 1.0 How far the light reaches up
// @param violet 0.6 0.0 1.0 How much violet there is above
// @param volume 0.4 0.0 1.0 Loudness

float chance(float2 cell) {
    // Looks like chance, but a cell always draws the same number.
    float n = dot(cell, float2(12.99, 78.23));
    return fract(sin(n) * 43758.55);
}

// The lower edge of a curtain: one slow wave, and a quick one that the slow one pushes along.
float edge(float x, float n, float t, constant Params& p) {
    float slow = sin(1.3 * x + 0.5 * t + 2.4 * n);
    float quick = sin(4.0 * x - 0.7 * t + 5.0 * n + 2.5 * slow);
    float bend = 0.20 * slow + 0.10 * quick;
    return 0.17 + 0.10 * n + p.folds * bend;
}

// The light of one curtain.
float3 curtain(float2 q, float n, float t, constant Params& p) {
    float above = q.y - edge(q.x, n, t, p);
    // Sharp below and soft above.
    float light = smoothstep(-0.01, 0.02, above);
    light *= exp(-above / (0.04 + 0.20 * p.reach));
    // Rays stand upright, because they depend on x alone. They crowd where the edge is steep.
    float fold = edge(q.x + 0.05, n, t, p) - edge(q.x, n, t, p);
    float rays = sin(17.0 * q.x + 120.0 * fold + t + n);
    rays += sin(47.0 * q.x - 70.0 * fold - 1.7 * t);
    light *= 0.7 + 0.2 * rays + 4.0 * abs(fold);
    // Green below; higher up the air is thinner and glows violet.
    float3 green = float3(0.10, 0.95, 0.45);
    float3 violet = float3(0.85, 0.22, 1.30);
    float high = smoothstep(0.02, 0.30, above);
    return light * mix(green, violet, p.violet * high);
}

// What there is above the shore, from low to high.
float3 sky(float2 q, float t, constant Params& p) {
    float3 low = float3(0.025, 0.070, 0.105);
    float3 high = float3(0.004, 0.008, 0.030);
    float3 c = mix(low, high, smoothstep(0.0, 0.6, q.y));
    // A star here and there: only the luckiest cells have one.
    float2 at = q * 70.0;
    float2 cell = floor(at);
    float luck = smoothstep(0.985, 1.0, chance(cell));
    float star = smoothstep(0.35, 0.0, length(at - cell - 0.5));
    c += luck * star * (0.7 + 0.3 * sin(3.0 * t + 40.0 * luck));
    // Four curtains, one behind the other. Light adds up.
    for (int i = 0; i < 4; i++) {
        float n = float(i);
        c += 0.8 * curtain(q, n, t, p) / (1.0 + 0.4 * n);
    }
    return c;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    // The shore lies at 0, the picture is 1 high.
    float2 shape = float2(u.resolution.x / u.resolution.y, 1.0);
    float2 q = (uv - float2(0.5, 0.3)) * shape;
    float t = 2.0 * p.speed * u.time;
    // Where the lake is, look as far up as this is down.
    float depth = max(-q.y, 0.0);
    q.y = abs(q.y);
    // Ripples far away are small and close together: a logarithm makes them so.
    float far = log(depth + 0.02);
    float2 sway = float2(3.0 * sin(2.0 * q.x), 5.0 * q.x);
    sway -= float2(1.5, 2.0) * u.time;
    float2 ripple = sin(float2(9.0, 21.0) * far + sway);
    q += depth * float2(0.12, 0.25) * ripple;
    float3 c = sky(q, t, p);
    // Water gives back less light, and less still close to the eye.
    if (depth > 0.0) c *= 0.65 - 0.6 * depth;
    // Hills along the shore, darker than anything else.
    float hills = 0.035 + 0.02 * sin(5.0 * q.x + 1.0);
    hills += 0.012 * sin(13.0 * q.x);
    c *= 1.0 - 0.96 * smoothstep(0.003, -0.003, q.y - hills);
    return float4(1.0 - exp(-1.6 * c), 1.0);
}

// ---- The sound -----------------------------------------------------------------------------------------------------
// The sound: six long notes that swell and fade at paces of their own, a little apart for the two ears.

float voice(float pitch, float t) {
    // Counted from the beginning of a whole number of turns, so that it stays clean after an hour.
    float turns = fract(pitch * fract(t)) + fract(fract(pitch) * floor(t));
    return sin(6.2831853 * turns) + 0.3 * sin(12.5663706 * turns);
}

float2 sound(float t, constant Params& p) {
    float2 sum = float2(0.0);
    const float notes[6] = {110.0, 165.0, 220.5, 277.25, 330.0, 415.5};
    for (int i = 0; i < 6; i++) {
        float swell = max(0.0, sin(t * (0.11 + 0.023 * float(i)) + 1.9 * float(i)));
        float side = 0.5 + 0.35 * sin(2.0 * float(i));
        sum += swell * swell * float2(side * voice(notes[i], t), (1.0 - side) * voice(notes[i] + 0.5, t));
    }
    return 0.16 * p.volume * smoothstep(0.0, 3.0, t) * sum;
}
