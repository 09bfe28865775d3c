// The twin of the sample "Blue Hour", without its sound.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float hour; float drift; float rugged; float mist; float ripple; float volume;
} p;
const int ridges = 5;

float hash(float n) {
    n = fract(n * 0.1031);
    n *= n + 33.33;
    return fract(n * (n + n));
}

float noise(float x) {
    float i = floor(x);
    float f = x - i;
    return mix(hash(i), hash(i + 1.0), f * f * (3.0 - 2.0 * f));
}

float noise(vec2 x) {
    float row = floor(x.y);
    float f = x.y - row;
    return mix(noise(x.x + 57.0 * row), noise(x.x + 57.0 * row + 57.0), f * f * (3.0 - 2.0 * f));
}

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

float firs(float x) {
    float n = hash(floor(x));
    float tree = 1.0 - 2.0 * abs(fract(x) - 0.5);
    return tree * (0.85 + 0.15 * fract(4.0 * tree)) * (0.03 + 0.17 * n * step(0.2, n));
}

vec3 evening(vec3 sunset, vec3 blue, vec3 night, float hour) {
    return mix(mix(sunset, blue, smoothstep(0.0, 0.55, hour)), night, smoothstep(0.45, 1.0, hour));
}

float stars(vec2 q, float time, float pixel) {
    vec2 cell = floor(q * 34.0);
    float n = hash(cell.x + 131.0 * cell.y);
    vec2 at = 0.2 + 0.6 * vec2(hash(n * 917.0), hash(n * 331.0));
    float away = length(q * 34.0 - cell - at) / 34.0;
    float size = max(pixel, 0.0016);
    float twinkle = 0.65 + 0.35 * sin(time * (0.7 + 2.0 * n) + 40.0 * n);
    return n * n * n * twinkle * clamp(1.5 - away / size, 0.0, 1.0);
}

vec4 shade(vec2 uv) {

    float pixel = 1.0 / u.resolution.y;
    vec2 q = vec2((uv.x - 0.5) * u.resolution.x / u.resolution.y, uv.y - 0.30);
    float depth = max(-q.y, 0.0);
    vec2 lake = vec2(q.x, 1.0) / (depth + 0.02);
    float swell = noise(vec2(2.6, 4.6) * lake + vec2(0.5, 1.3) * u.time) - 0.5;
    swell += 0.5 * noise(vec2(5.9, 8.7) * lake - vec2(0.8, 1.9) * u.time) - 0.25;
    q = vec2(q.x, abs(q.y) + 0.6 * p.ripple * depth * swell);


    vec3 low = evening(vec3(1.00, 0.58, 0.30), vec3(0.66, 0.46, 0.58), vec3(0.10, 0.16, 0.28), p.hour);
    vec3 high = evening(vec3(0.24, 0.32, 0.56), vec3(0.08, 0.12, 0.33), vec3(0.008, 0.014, 0.045), p.hour);
    vec3 c = mix(low, high, smoothstep(0.02, 0.62, q.y));
    c += smoothstep(0.4, 0.95, p.hour) * smoothstep(0.1, 0.4, q.y) * stars(q, u.time, pixel);


    float fromSun = distance(q, vec2(0.30, 0.27 - 0.55 * p.hour));
    vec3 sunColor = mix(vec3(1.0, 0.74, 0.42), vec3(1.0, 0.36, 0.20), clamp(2.0 * p.hour, 0.0, 1.0));
    float dusk = 1.0 - smoothstep(0.3, 0.8, p.hour);
    c += dusk * sunColor * (0.55 * exp(-4.5 * fromSun) + clamp((0.055 - fromSun) / pixel, 0.0, 1.0));
    vec2 moon = q - vec2(-0.42, 0.62 * p.hour - 0.12);
    float crescent = min(0.040 - length(moon), length(moon - vec2(0.017, 0.012)) - 0.036);
    float night = smoothstep(0.25, 0.7, p.hour);
    c += night * vec3(0.80, 0.86, 1.0) * (0.9 * clamp(crescent / pixel, 0.0, 1.0) + 0.16 * exp(-7.0 * length(moon)));


    vec2 band = vec2(2.3 * q.x + 0.03 * p.drift * u.time, 21.0 * q.y - 1.6 * q.x);
    float cloud = 0.55 * noise(band) + 0.3 * noise(2.3 * band + 9.0) + 0.15 * noise(5.1 * band);
    cloud = smoothstep(0.48, 0.85, cloud) * smoothstep(0.12, 0.30, q.y) * smoothstep(0.62, 0.40, q.y);
    c = mix(c, mix(low, sunColor, 0.7 * dusk), 0.6 * cloud);


    vec3 ink = evening(vec3(0.13, 0.07, 0.13), vec3(0.025, 0.035, 0.095), vec3(0.004, 0.008, 0.022), p.hour);
    for (int i = 0; i < ridges; i++) {
        float near = float(i) / float(ridges - 1);
        float passed = p.drift * u.time * (0.02 + 0.16 * near * near);
        float x = q.x * mix(2.1, 1.5, near) + passed + 37.0 * float(i);
        float top = mix(0.10, -0.07, near) + mix(0.26, 0.17, near) * outline(x, p.rugged * (1.0 - 0.4 * near));
        if (i >= 3) top += smoothstep(-0.03, 0.02, top) * 0.9 * (near - 0.7) * firs((95.0 - 40.0 * near) * x);


        float below = top - q.y;
        float covered = clamp(0.5 + below / fwidth(below), 0.0, 1.0);
        float fog = p.mist * exp(-16.0 * max(q.y, 0.0) / (0.4 + 0.6 * (1.0 - near))) * (1.0 - 0.7 * near);
        vec3 hill = mix(mix(low, high, 0.35 + 0.4 * near), ink, 0.12 + 0.88 * near);
        c = mix(c, mix(hill, mix(low, vec3(1.0), 0.12), fog), covered);
    }


    vec3 water = mix(c, 0.7 * high, 0.15 + 0.9 * depth);
    c = mix(c, water, clamp(0.5 + (0.30 - uv.y) / pixel, 0.0, 1.0));

    c *= 1.0 - 0.25 * dot(uv - 0.5, uv - 0.5);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, vec2(0.06711056, 0.00583715))));
    return vec4(c + (grain - 0.5) / 255.0, 1.0);
}
