// Five octaves of value noise, turned between octaves.
// @still 3
// @param zoom 3 0.5 12 How much of the noise is seen
// @param drift 0.4 0 2 How fast it moves

static float hash(float2 p) {
    float3 q = fract(float3(p.xyx) * 0.1031);
    q += dot(q, q.yzx + 33.33);
    return fract((q.x + q.y) * q.z);
}

static float valueNoise(float2 p) {
    float2 i = floor(p);
    float2 f = fract(p);
    f = f * f * (3.0 - 2.0 * f);
    return mix(mix(hash(i), hash(i + float2(1, 0)), f.x),
               mix(hash(i + float2(0, 1)), hash(i + float2(1, 1)), f.x), f.y);
}

static float fbm(float2 p) {
    const float2x2 turn = float2x2(0.8, 0.6, -0.6, 0.8);
    float sum = 0.0, weight = 0.5;
    for (int octave = 0; octave < 5; ++octave) {
        sum += weight * valueNoise(p);
        p = turn * p * 2.03;
        weight *= 0.5;
    }
    return sum;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = (uv * 2.0 - 1.0) * float2(u.resolution.x / u.resolution.y, 1.0) * p.zoom;
    float t = u.time * p.drift;
    float2 bend = float2(fbm(q + t), fbm(q + float2(5.2, 1.3) - t));
    float n = fbm(q + 2.0 * bend);
    float3 c = mix(float3(0.03, 0.05, 0.12), float3(0.95, 0.82, 0.62), smoothstep(0.2, 0.85, n));
    c.r += 0.25 * bend.x * bend.x;
    return float4(c, 1.0);
}
