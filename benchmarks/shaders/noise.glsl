// The twin of noise.metal.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float zoom; float drift; } p;

float hash(vec2 at) {
    vec3 q = fract(at.xyx * 0.1031);
    q += dot(q, q.yzx + 33.33);
    return fract((q.x + q.y) * q.z);
}

float valueNoise(vec2 at) {
    vec2 i = floor(at);
    vec2 f = fract(at);
    f = f * f * (3.0 - 2.0 * f);
    return mix(mix(hash(i), hash(i + vec2(1, 0)), f.x), mix(hash(i + vec2(0, 1)), hash(i + vec2(1, 1)), f.x), f.y);
}

float fbm(vec2 at) {
    const mat2 turn = mat2(0.8, 0.6, -0.6, 0.8);
    float sum = 0.0, weight = 0.5;
    for (int octave = 0; octave < 5; ++octave) {
        sum += weight * valueNoise(at);
        at = turn * at * 2.03;
        weight *= 0.5;
    }
    return sum;
}

vec4 shade(vec2 uv) {
    vec2 q = (uv * 2.0 - 1.0) * vec2(u.resolution.x / u.resolution.y, 1.0) * p.zoom;
    float t = u.time * p.drift;
    vec2 bend = vec2(fbm(q + t), fbm(q + vec2(5.2, 1.3) - t));
    float n = fbm(q + 2.0 * bend);
    vec3 c = mix(vec3(0.03, 0.05, 0.12), vec3(0.95, 0.82, 0.62), smoothstep(0.2, 0.85, n));
    c.r += 0.25 * bend.x * bend.x;
    return vec4(c, 1.0);
}
