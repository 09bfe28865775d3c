// The twin of the sample "Silk": all that it defines, in one stage.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float wind; float curl; float change; float trail; float hue; float light;
} p;
layout(set = 0, binding = 2) uniform sampler2D trails;
struct Particle {
    vec2 at;
    float age;
    float life;
    float strand;
};

float chance(uint n) {
    n = n * 747796405u + 2891336453u;
    n = ((n >> ((n >> 28) + 4u)) ^ n) * 277803737u;
    return float((n >> 22) ^ n) * 2.3283064e-10;
}

Particle start(uint id, uint seed, float time) {
    Particle q;
    uint n = id * 977u + seed * 131071u;
    float side = (id & 1u) != 0u ? 1.0 : -1.0;
    float turn = 6.2831853 * chance(n);
    float r = 0.23 + 0.05 * sin(3.0 * turn + 0.4 * time) + 0.012 * chance(n + 1u);
    vec2 middle = vec2(side * 0.34 + 0.05 * sin(0.21 * time), side * 0.06 * cos(0.17 * time));
    q.at = middle + r * vec2(cos(turn), sin(turn));
    q.life = 2.0 + 4.0 * chance(n + 2u);
    q.age = 0.0;
    q.strand = turn / 6.2831853 + 0.5 * side;
    return q;
}

vec2 wind(vec2 x, float time) {
    vec2 sum = vec2(0.0);
    float fine = 2.2 + 2.4 * p.curl;
    float size = 0.16;
    vec2 way = vec2(0.8, 0.6);
    for (int i = 0; i < 5; i++) {
        float slope = size * cos(fine * dot(x, way) + time * (0.5 + 0.37 * float(i)) + 1.7 * float(i));
        sum += slope * vec2(way.y, -way.x);
        way = vec2(-0.37 * way.x - 0.93 * way.y, 0.93 * way.x - 0.37 * way.y);
        fine *= 1.55;
        size *= 0.62 + 0.25 * p.curl;
    }
    return sum;
}

Particle spawn(uint id) {
    Particle q = start(id, 0u, 0.0);
    q.age = q.life * chance(id * 31u + 7u);
    return q;
}

void update(inout Particle q, uint id) {

    vec2 away = q.at - (u.mouse - 0.5 * u.resolution) / u.resolution.y;
    vec2 stir = vec2(-away.y, away.x) * 0.02 / (0.02 + dot(away, away));
    q.at += u.timeDelta * (1.6 * p.wind * wind(q.at, 0.6 * p.change * u.time) + 0.6 * p.wind * stir);
    q.age += u.timeDelta;
    if (q.age > q.life) q = start(id, u.frame, u.time);
}

vec3 place(Particle q) {
    vec2 at = vec2(q.at.x * u.resolution.y / u.resolution.x, q.at.y) + 0.5;
    return vec3(at, max(0.0034, 1.5 / u.resolution.y));
}

vec4 ink(Particle q, vec2 at) {
    float soft = clamp(1.0 - dot(at, at), 0.0, 1.0);
    float coming = smoothstep(0.0, 0.6, q.age) * smoothstep(q.life, q.life - 0.8, q.age);
    vec3 color = 0.5 + 0.5 * cos(6.2831853 * (0.42 * q.strand + p.hue + vec3(0.02, 0.28, 0.52)));
    return vec4(color * (0.05 * soft * coming), 0.0);
}

vec4 fade(vec2 uv) {
    return texture(trails, vec2(uv.x, 1.0 - uv.y)) * (0.90 + 0.085 * p.trail);
}

vec4 picture(vec2 uv) {
    vec3 light = texture(trails, vec2(uv.x, 1.0 - uv.y)).rgb * (0.4 + 3.2 * p.light * p.light) * 1.6;
    vec2 q = uv - 0.5;
    vec3 night = vec3(0.012, 0.010, 0.026) * (1.0 - dot(q, q));
    vec3 c = night + 1.0 - exp(-light);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, vec2(0.06711056, 0.00583715))));
    return vec4(c + (grain - 0.5) / 255.0, 1.0);
}

vec4 shade(vec2 uv) {
    Particle q = spawn(uint(uv.x * 1000.0));
    update(q, uint(uv.y * 1000.0));
    return vec4(place(q), 0.0) + ink(q, uv) + fade(uv) + picture(uv);
}
