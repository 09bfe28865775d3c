// The twin of the sample "Quicksilver".
layout(set = 0, binding = 1, scalar) uniform ParameterBlock {
    float speed; float melt; float spread; float film; float warmth; float turn;
} p;
const int drops = 5;

struct Scene {
    vec3 at[drops];
    float melt;
};

Scene makeScene(float time) {
    Scene scene;
    scene.melt = 0.15 + 0.55 * p.melt;
    for (int i = 0; i < drops; i++) {
        float n = float(i);
        vec3 pace = vec3(0.61, 0.53, 0.47) + 0.07 * vec3(n, 4.0 - n, n * 0.6);
        vec3 path = sin(time * pace + vec3(1.3, 2.1, 0.7) * n);
        scene.at[i] = path * vec3(1.25, 0.7, 0.6) * (0.3 + p.spread);
    }
    return scene;
}

float away(vec3 x, Scene scene) {
    float d = 10.0;
    for (int i = 0; i < drops; i++) {
        float ball = distance(x, scene.at[i]) - (0.56 - 0.07 * float(i));
        float h = clamp(0.5 + 0.5 * (ball - d) / scene.melt, 0.0, 1.0);
        d = mix(ball, d, h) - scene.melt * h * (1.0 - h);
    }
    return d;
}

vec3 room(vec3 way, float warmth) {
    vec3 warm = mix(vec3(0.55, 0.75, 1.0), vec3(1.0, 0.58, 0.28), warmth);
    vec3 cold = mix(vec3(0.10, 0.22, 0.55), vec3(0.16, 0.20, 0.62), warmth);
    vec3 c = mix(vec3(0.030, 0.025, 0.040), 0.16 * warm, smoothstep(0.1, -1.0, way.y));
    c += 0.25 * cold * smoothstep(-0.4, 0.9, way.y);
    c += 2.6 * warm * smoothstep(0.55, 0.95, way.y) * smoothstep(0.55, 0.1, abs(way.x + 0.25));
    c += 1.7 * cold * smoothstep(0.62, 0.95, -way.x) * smoothstep(0.75, 0.2, abs(way.y));
    c += 1.1 * warm * smoothstep(0.75, 0.98, way.x) * smoothstep(0.6, 0.1, abs(way.y - 0.1));
    return c;
}

vec4 shade(vec2 uv) {
    vec2 q = (uv - 0.5) * vec2(u.resolution.x / u.resolution.y, 1.0);
    Scene scene = makeScene(u.time * p.speed);


    float angle = p.turn + 0.1 * u.time * p.speed;
    vec3 ahead = vec3(-sin(angle), 0.0, -cos(angle));
    vec3 side = vec3(cos(angle), 0.0, -sin(angle));
    vec3 eye = -4.2 * ahead;
    vec3 ray = normalize(1.9 * ahead + q.x * side + vec3(0.0, q.y, 0.0));
    float pixel = 0.55 / u.resolution.y;


    float t = 2.2;
    float closest = 1.0;
    float reached = t;
    for (int i = 0; i < 40; i++) {
        float d = away(eye + t * ray, scene);
        float miss = d / (t * pixel);
        if (miss < closest || i == 0) {
            closest = miss;
            reached = t;
        }
        if (miss < 0.2 || t > 6.4) break;
        t += d;
    }
    float covered = clamp(1.1 - closest * 0.55, 0.0, 1.0);


    vec3 x = eye + reached * ray;
    vec3 n = vec3(0.0);
    for (int i = 0; i < 4; i++) {
        vec3 corner = vec3(float(i == 1 || i == 3), float(i >= 2), float(i == 1 || i == 2)) * 2.0 - 1.0;
        n += corner * away(x + 0.004 * corner, scene);
    }
    n = normalize(n);


    float open = clamp(0.35 + 1.3 * away(x + 0.5 * n, scene), 0.0, 1.0);


    float facing = clamp(-dot(ray, n), 0.0, 1.0);
    float thick = 1.3 + 0.8 * n.y + 0.5 * sin(2.0 * x.x + 1.5 * x.y + 0.3 * u.time);
    vec3 tint = 0.5 + 0.5 * cos(6.2831853 * (thick * (0.4 + 0.6 * facing) + vec3(0.0, 0.33, 0.67)));
    float edge = pow(1.0 - facing, 4.0);
    vec3 mirror = mix(vec3(0.86, 0.88, 0.92), 0.25 + 1.1 * tint, p.film * (1.0 - 0.6 * edge));
    vec3 c = room(reflect(ray, n), p.warmth) * mirror * open * (0.9 + 0.6 * edge);
    c += 0.05 * tint * p.film * open;


    vec2 lamp = q - vec2(0.28, 0.22);
    float glow = exp(-2.6 * dot(lamp, lamp)) * (0.3 + 0.9 * p.warmth);
    vec3 wall = mix(vec3(0.010, 0.012, 0.030), vec3(0.20, 0.055, 0.030), glow);
    c = mix(wall, c, covered);


    c = c / (1.0 + 0.45 * c);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, vec2(0.06711056, 0.00583715))));
    return vec4(sqrt(c) + (grain - 0.5) / 255.0, 1.0);
}
