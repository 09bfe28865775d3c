// Step 1 · A night with stars
//
// A colour for every height, a star in a few cells of a grid, and hills to stand on.

// @param speed 0.5 0.0 1.5 How fast time runs

float chance(float2 cell) {
    // Looks like chance, but a cell always draws the same number.
    float n = dot(cell, float2(12.99, 78.23));
    return fract(sin(n) * 43758.55);
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
