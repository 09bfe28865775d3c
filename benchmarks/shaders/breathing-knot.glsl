// The twin of the sample "Breathing Knot": all that it defines, in one stage.
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float loops; float girth; float breath; float lines; float speed; float hue;
} p;
const float tau = 6.2831853;

struct Corner {
    vec4 position ;
    vec3 at;
    vec3 normal;
    vec2 net;
};

struct Bend {
    vec3 at;
    vec3 ahead;
};

Bend line(float along, float loops) {
    float ring = tau * along * 2.0;
    float hole = tau * along * loops;
    vec2 round = vec2(cos(ring), sin(ring));
    vec2 through = vec2(cos(hole), sin(hole));
    float r = 1.0 + 0.42 * through.x;
    Bend bend;
    bend.at = vec3(r * round, 0.50 * through.y);
    vec2 aside = 2.0 * r * vec2(-round.y, round.x) - 0.42 * loops * through.y * round;
    bend.ahead = vec3(aside, 0.50 * loops * through.x);
    return bend;
}

vec3 turned(vec3 x) {
    vec2 pointer = u.mouse / u.resolution - 0.5;
    float a = 0.4 * u.time * p.speed + 2.0 * pointer.x;
    float b = 0.60 + 0.25 * sin(0.23 * u.time * p.speed) + 1.5 * pointer.y;
    x = vec3(x.x * cos(a) - x.y * sin(a), x.x * sin(a) + x.y * cos(a), x.z);
    return vec3(x.x, x.y * cos(b) + x.z * sin(b), x.z * cos(b) - x.y * sin(b));
}

Corner corner(vec2 grid) {
    float time = u.time * p.speed;
    Bend bend = line(grid.x, 2.0 * floor(0.5 * p.loops - 0.25) + 1.0);
    float pace = length(bend.ahead);
    vec3 ahead = bend.ahead / pace;


    vec3 outward = normalize(bend.at - ahead * dot(bend.at, ahead));
    vec3 side = cross(ahead, outward);
    float turn = tau * grid.y;
    vec3 round = cos(turn) * outward + sin(turn) * side;


    float wave = tau * (3.0 * grid.x - 0.12 * time);
    float girth = 0.10 + 0.22 * p.girth;
    float swell = 0.30 * p.breath * girth;

    Corner v;
    v.at = turned(bend.at + (girth + swell * sin(wave)) * round);
    v.normal = turned(normalize(round - (3.0 * swell * cos(wave) / pace) * ahead));
    v.net = grid;


    float depth = 4.6 - v.at.z;
    float lens = 2.9;
    v.position = vec4(v.at.x * lens * u.resolution.y / u.resolution.x, v.at.y * lens, 1.25 * (depth - 2.0), depth);
    return v;
}

vec3 room(vec3 way) {
    vec3 c = mix(vec3(0.05, 0.03, 0.05), vec3(0.16, 0.22, 0.34), smoothstep(-0.6, 1.0, way.y));
    c += vec3(2.4, 2.1, 1.8) * smoothstep(0.72, 0.92, dot(way, vec3(0.36, 0.80, 0.48)));
    c += vec3(0.5, 0.9, 1.5) * smoothstep(0.55, 0.95, -way.x) * smoothstep(0.8, 0.2, abs(way.y));
    return c + vec3(0.9, 0.35, 0.12) * smoothstep(0.6, 1.0, -way.y);
}

vec4 mesh(Corner v) {
    vec3 n = normalize(v.normal);
    vec3 ray = normalize(v.at - vec3(0.0, 0.0, 4.6));
    if (dot(n, ray) > 0.0) n = -n;


    vec3 glaze = 0.5 + 0.5 * cos(tau * (p.hue + 0.55 + 0.16 * sin(tau * v.net.x) + vec3(0.0, 0.10, 0.24)));
    glaze = glaze * glaze * 0.75 + 0.02;
    float band = v.net.x * floor(p.lines) * 3.0 + 2.0 * v.net.y;
    float off = abs(fract(band) - 0.5) - 0.40;
    float gold = p.lines < 1.0 ? 0.0 : clamp(0.5 + off / max(fwidth(band), 0.0001), 0.0, 1.0);

    vec3 lamp = normalize(vec3(0.36, 0.80, 0.48));
    float light = clamp(0.25 + 0.75 * dot(n, lamp), 0.0, 1.0);
    vec3 mirrored = room(reflect(ray, n));
    float grazing = pow(1.0 - clamp(-dot(n, ray), 0.0, 1.0), 4.0);
    vec3 ceramic = glaze * (0.12 + 1.1 * light) + mirrored * (0.06 + 0.7 * grazing);
    vec3 metal = vec3(1.0, 0.68, 0.28) * (0.12 + 0.25 * light + 0.9 * mirrored);
    vec3 c = mix(ceramic, metal, gold);
    c *= 0.55 + 0.45 * smoothstep(-1.4, 1.2, v.at.z);
    return vec4(sqrt(c / (1.0 + 0.5 * c)), 1.0);
}

vec4 background(vec2 uv) {
    vec2 q = (uv - vec2(0.5, 0.55)) * vec2(u.resolution.x / u.resolution.y, 1.0);
    vec3 warm = 0.5 + 0.5 * cos(tau * (p.hue + 0.08 + vec3(0.0, 0.12, 0.2)));
    vec3 c = vec3(0.006, 0.008, 0.020) + 0.16 * warm * warm * exp(-4.5 * dot(q, q));
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, vec2(0.06711056, 0.00583715))));
    return vec4(sqrt(c) + (grain - 0.5) / 255.0, 1.0);
}

vec4 shade(vec2 uv) { return mesh(corner(uv)) + background(uv); }
