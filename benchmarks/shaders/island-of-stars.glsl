// The twin of the sample "Island of Stars": all that it defines, in one stage.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float speed; float arms; float wind; float tilt; float size; float warmth;
} p;
layout(set = 0, binding = 2) uniform sampler2D trails;
struct Particle {
    float radius;
    float turn;
    float height;
    float kind;
    vec3 color;
};

float chance(uint n) {
    n = n * 747796405u + 2891336453u;
    n = ((n >> ((n >> 28) + 4u)) ^ n) * 277803737u;
    return float((n >> 22) ^ n) * 2.3283064e-10;
}

Particle spawn(uint id) {
    Particle q;
    uint n = id * 7u;
    float bulge = step(chance(n), 0.16);
    float r = chance(n + 1u);
    q.radius = mix(0.04 - 0.22 * log(1.0 - 0.97 * r), 0.16 * r * r + 0.004, bulge);
    q.turn = 6.2831853 * chance(n + 2u);
    float h = chance(n + 3u) + chance(n + 4u) + chance(n + 5u) - 1.5;
    q.height = h * mix(0.020, 0.5 * q.radius, bulge);
    q.kind = mix(chance(n + 6u), 0.4, bulge);


    vec3 old = mix(vec3(1.0, 0.86, 0.70), vec3(1.0, 0.60, 0.30), p.warmth);
    q.color = mix(old, vec3(0.42, 0.62, 1.0), smoothstep(0.05, 0.42, q.radius + 0.12 * (q.kind - 0.5)));
    if (q.kind < 0.04) q.color = mix(vec3(1.0, 0.25, 0.42), vec3(0.35, 0.45, 1.0), chance(n + 1u));
    return q;
}

void update(inout Particle q, uint id) {
    q.turn += u.timeDelta * p.speed * 0.22 / (0.12 + q.radius);
}

vec3 inSpace(Particle q, float time) {
    float flatness = 1.0 - 0.55 * p.arms * smoothstep(0.02, 0.16, q.radius);
    vec2 x = q.radius * vec2(cos(q.turn), flatness * sin(q.turn));
    float lean = 12.0 * p.wind * pow(q.radius, 0.65) - 0.02 * time;
    x = vec2(x.x * cos(lean) - x.y * sin(lean), x.x * sin(lean) + x.y * cos(lean));
    return vec3(x.x, q.height, x.y);
}

vec3 place(Particle q) {

    vec2 pointer = u.mouse / u.resolution - 0.5;
    float above = 1.45 - 1.3 * p.tilt - 0.5 * pointer.y + 0.05 * sin(0.11 * u.time);
    float around = 0.25 * sin(0.07 * u.time) + 0.6 * pointer.x;
    vec3 x = inSpace(q, u.time);
    x = vec3(x.x * cos(around) - x.z * sin(around), x.y, x.x * sin(around) + x.z * cos(around));
    x = vec3(x.x, x.y * cos(above) + x.z * sin(above), x.z * cos(above) - x.y * sin(above));
    float near = 2.0 / (1.9 + x.z);

    vec2 at = near * vec2(0.966 * x.x - 0.259 * x.y, 0.259 * x.x + 0.966 * x.y);
    at.x *= u.resolution.y / u.resolution.x;

    float size = 0.0022 + 0.0030 * p.size * (0.4 + q.kind * q.kind);
    if (q.kind < 0.04) size = 0.030 + 0.050 * p.size;
    if (q.kind > 0.996) size *= 3.0;
    return vec3(at + 0.5, near * max(size, 1.6 / u.resolution.y));
}

vec4 ink(Particle q, vec2 at) {
    float soft = clamp(1.0 - dot(at, at), 0.0, 1.0);
    if (q.kind < 0.04) return vec4(q.color * (0.06 * soft * soft), 0.0);
    float twinkle = 0.85 + 0.15 * sin(2.0 * u.time * (0.5 + q.kind) + 90.0 * q.turn);
    float bright = 0.30 + 1.1 * pow(q.kind, 12.0);
    return vec4(q.color * (bright * twinkle * soft), 0.0);
}

float hash(vec2 cell) {
    vec3 n = fract(cell.xyx * 0.1031);
    n += dot(n, n.yzx + 33.33);
    return fract((n.x + n.y) * n.z);
}

vec4 picture(vec2 uv) {
    vec2 q = (uv - 0.5) * vec2(u.resolution.x / u.resolution.y, 1.0);
    vec2 cell = floor(q * 60.0);
    float n = hash(cell);
    vec2 away = q * 60.0 - cell - 0.2 - 0.6 * vec2(hash(cell + 41.0), hash(cell + 17.0));
    float far = pow(n, 9.0) * clamp(1.4 - length(away) * u.resolution.y / 60.0, 0.0, 1.0);

    vec2 disc = vec2(0.966 * q.x + 0.259 * q.y, 0.966 * q.y - 0.259 * q.x);
    disc.y *= 1.0 + 1.6 * p.tilt;
    disc *= 0.75;
    float r = length(disc);
    vec3 old = mix(vec3(1.0, 0.86, 0.70), vec3(1.0, 0.60, 0.30), p.warmth);
    vec3 haze = old * (0.9 * exp(-22.0 * r) + 0.30 * exp(-7.0 * r)) + vec3(0.10, 0.13, 0.30) * exp(-4.2 * r);
    vec3 light = texture(trails, vec2(uv.x, 1.0 - uv.y)).rgb + haze + 0.5 * far * vec3(0.8, 0.85, 1.0);
    vec3 c = vec3(0.006, 0.007, 0.016) + 1.0 - exp(-1.15 * light);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, vec2(0.06711056, 0.00583715))));
    return vec4(c + (grain - 0.5) / 255.0, 1.0);
}

vec4 shade(vec2 uv) {
    Particle q = spawn(uint(uv.x * 1000.0));
    update(q, uint(uv.y * 1000.0));
    return vec4(place(q), 0.0) + ink(q, uv) + picture(uv);
}
