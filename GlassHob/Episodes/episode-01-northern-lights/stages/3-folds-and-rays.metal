// Step 3 · Folds and rays
//
// A straight edge becomes a hanging curtain: bend it with waves, then hang rays on it.

// @param speed 0.5 0.0 1.5 How fast time runs
// @param folds 0.5 0.0 1.0 How deeply the curtain is folded
// @param reach 0.5 0.1 1.0 How far the light reaches up

float chance(float2 cell) {
    // Looks like chance, but a cell always draws the same number.
    float n = dot(cell, float2(12.99, 78.23));
    return fract(sin(n) * 43758.55);
}

// The lower edge of a curtain: one slow wave, and a quick one that the slow one pushes along.
float edge(float x, float t, constant Params& p) {
    float slow = sin(1.3 * x + 0.5 * t);
    float quick = sin(4.0 * x - 0.7 * t + 2.5 * slow);
    float bend = 0.20 * slow + 0.10 * quick;
    return 0.25 + p.folds * bend;
}

// The light of one curtain.
float3 curtain(float2 q, float t, constant Params& p) {
    float above = q.y - edge(q.x, t, p);
    // Sharp below and soft above.
    float light = smoothstep(-0.01, 0.02, above);
    light *= exp(-above / (0.04 + 0.20 * p.reach));
    // Rays stand upright, because they depend on x alone. They crowd where the edge is steep.
    float fold = edge(q.x + 0.05, t, p) - edge(q.x, t, p);
    float rays = sin(17.0 * q.x + 120.0 * fold + t);
    rays += sin(47.0 * q.x - 70.0 * fold - 1.7 * t);
    light *= 0.7 + 0.2 * rays + 4.0 * abs(fold);
    return light * float3(0.10, 0.95, 0.45);
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
    c += 0.8 * curtain(q, t, p);
    return c;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    // The shore lies at 0, the picture is 1 high.
    float2 shape = float2(u.resolution.x / u.resolution.y, 1.0);
    float2 q = (uv - float2(0.5, 0.3)) * shape;
    float t = 2.0 * p.speed * u.time;
    float3 c = sky(q, t, p);
    // Hills along the shore, darker than anything else.
    float hills = 0.035 + 0.02 * sin(5.0 * q.x + 1.0);
    hills += 0.012 * sin(13.0 * q.x);
    c *= 1.0 - 0.96 * smoothstep(0.003, -0.003, q.y - hills);
    return float4(1.0 - exp(-1.6 * c), 1.0);
}
