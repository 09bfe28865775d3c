// The twin of the sample "Open Sea": all that it defines, in one stage.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float wind; float speed; float evening; float glitter; float haze; float volume;
} p;
const float eyeHeight = 1.5;
const float lens = 1.35;
const float farthest = 90.0;

struct Corner {
    vec4 position ;
    vec3 at;
};

vec3 sea(vec2 x, float far, int waves, float time) {
    vec3 sum = vec3(0.0);
    vec2 way = vec2(0.34, -0.94);
    float length = 8.2;
    float height = 0.50 * p.wind + 0.03;
    for (int i = 0; i < waves; i++) {

        float kept = clamp(1.8 * length / (0.0038 * far * far + 0.1) - 0.4, 0.0, 1.0) * height;
        float t = 2.0 * fract((dot(x, way) + 1.25 * sqrt(length) * time) / length) - 1.0;
        float crest = 0.5 + 2.0 * t * (1.0 - abs(t));
        float slope = 4.0 * (1.0 - 2.0 * abs(t)) / length;
        sum += kept * vec3(crest * crest - 0.38, 2.0 * crest * slope * way);

        x += (0.30 * length * height * slope) * way;
        way = vec2(-0.48 * way.x - 0.88 * way.y, 0.88 * way.x - 0.48 * way.y);
        way.y = -abs(way.y);
        length *= 0.66;
        height *= 0.60;
    }
    return sum;
}

vec3 sunWay() { return normalize(vec3(0.18, mix(0.55, 0.05, p.evening), 1.0)); }

vec3 sunColor() { return mix(vec3(1.0, 0.95, 0.85), vec3(1.0, 0.52, 0.20), p.evening); }

vec3 sky(vec3 way) {
    float up = max(way.y, 0.0);
    vec3 low = mix(vec3(0.68, 0.80, 0.92), vec3(1.00, 0.50, 0.24), p.evening);
    vec3 high = mix(vec3(0.10, 0.30, 0.68), vec3(0.07, 0.12, 0.32), p.evening);
    vec3 c = mix(low, high, 1.0 - exp(-mix(4.0, 5.0, p.evening) * up));
    float sun = clamp(dot(way, sunWay()), 0.0, 1.0);
    float glow = 0.5 * pow(sun, 12.0) + 0.7 * pow(sun, 90.0);
    return c + sunColor() * glow * (0.35 + 0.65 * p.evening);
}

Corner corner(vec2 grid) {

    float ahead = eyeHeight * 0.9 / (1.001 - grid.y) - 0.2;
    ahead = min(ahead, farthest + 400.0 * smoothstep(0.97, 1.0, grid.y));
    float aspect = u.resolution.x / u.resolution.y;
    vec2 x = vec2((grid.x - 0.5) * 2.2 * (ahead + 2.0) * aspect / lens, ahead);
    vec2 travelled = x + vec2(0.0, 0.35 * u.time * p.speed);
    vec3 wave = sea(travelled, ahead, 5, u.time * p.speed);

    Corner v;
    v.at = vec3(x.x, wave.x, x.y);
    float rise = 0.12 * (u.mouse.y / u.resolution.y - 0.5);
    float y = (wave.x - eyeHeight) * lens + (0.22 + rise) * ahead;
    v.position = vec4(v.at.x * lens / aspect, y, ahead * 0.999 - 0.1, ahead);
    return v;
}

vec4 mesh(Corner v) {
    float far = v.at.z;
    vec2 x = v.at.xz + vec2(0.0, 0.35 * u.time * p.speed);
    vec3 wave = sea(x, far, 10, u.time * p.speed);
    vec3 n = normalize(vec3(-wave.y, 1.0, -wave.z));
    vec3 eye = normalize(vec3(v.at.x, v.at.y - eyeHeight, far));


    vec3 mirrored = reflect(eye, n);
    mirrored.y = abs(mirrored.y);
    float grazing = 0.03 + 0.97 * pow(1.0 - clamp(-dot(eye, n), 0.0, 1.0), 5.0);
    vec3 deep = mix(vec3(0.004, 0.075, 0.115), vec3(0.008, 0.030, 0.055), p.evening);
    vec3 through = mix(vec3(0.03, 0.30, 0.30), vec3(0.12, 0.16, 0.14), p.evening);
    vec3 body = deep + through * clamp(0.25 + 1.4 * wave.x, 0.0, 1.0) * (0.5 + 0.5 * clamp(dot(eye, sunWay()), 0.0, 1.0));
    vec3 c = mix(body, sky(mirrored), clamp(grazing, 0.0, 1.0));



    float sharp = 260.0 / (1.0 + 0.06 * far);
    float spark = pow(clamp(dot(mirrored, sunWay()), 0.0, 1.0), sharp);
    c += sunColor() * (p.glitter * spark * (1.5 + 0.025 * sharp));

    vec3 level = normalize(vec3(eye.x, 0.0, eye.z));
    c = mix(c, sky(level), 1.0 - exp(-far * far * (0.00012 + 0.0009 * p.haze)));
    return vec4(sqrt(1.0 - exp(-1.3 * c * c)), 1.0);
}

vec4 background(vec2 uv) {
    vec2 q = (2.0 * uv - 1.0) * vec2(u.resolution.x / u.resolution.y, 1.0);
    float rise = 0.12 * (u.mouse.y / u.resolution.y - 0.5);
    vec3 way = normalize(vec3(q.x, q.y - 0.22 - rise, lens));
    vec3 c = sky(way);
    float disc = length(way - sunWay()) - 0.035;
    c += sunColor() * 2.0 * clamp(0.5 - disc * u.resolution.y * 0.5 * lens, 0.0, 1.0);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, vec2(0.06711056, 0.00583715))));
    return vec4(sqrt(1.0 - exp(-1.3 * c * c)) + (grain - 0.5) / 255.0, 1.0);
}

float random(int n) {
    uint h = uint(n) * 747796405u + 2891336453u;
    h = ((h >> ((h >> 28) + 4u)) ^ h) * 277803737u;
    return float((h >> 22) ^ h) * 4.6566129e-10 - 1.0;
}

float noise(float t, float pitch, int voice) {
    float x = t * pitch;
    float i = floor(x);
    int n = int(i) + voice * 7919;
    return mix(random(n), random(n + 1), smoothstep(0.0, 1.0, x - i));
}

vec2 surf(float t, float period, float delay, float side, int voice) {
    float x = fract(t / period + delay);
    float swell = smoothstep(0.0, 0.42, x) * smoothstep(1.0, 0.42, x);
    float foam = smoothstep(0.30, 0.46, x) * smoothstep(1.0, 0.46, x);
    float deep = noise(t, 160.0, voice) + 0.7 * noise(t, 420.0, voice + 1);
    float hiss = noise(t, 2600.0, voice + 2) + 0.6 * noise(t, 7000.0, voice + 3);
    float sum = 0.5 * swell * swell * deep + 0.28 * foam * foam * hiss;
    return sum * vec2(1.0 - side, side);
}

vec2 sound(float t) {
    vec2 sum = surf(t, 9.7, 0.0, 0.35, 0) + surf(t, 12.9, 0.4, 0.7, 10) + 0.7 * surf(t, 7.3, 0.7, 0.45, 20);
    vec2 wind = 0.10 * (0.6 + 0.4 * sin(0.31 * t)) * vec2(noise(t, 700.0, 40), noise(t, 700.0, 50));
    return p.volume * (0.6 + 0.5 * p.wind) * smoothstep(0.0, 1.5, t) * (0.55 * sum + p.wind * wind);
}

vec4 shade(vec2 uv) { return mesh(corner(uv)) + background(uv) + vec4(sound(uv.x), 0.0, 0.0); }
