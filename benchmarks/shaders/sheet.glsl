struct Vertex { vec4 position; vec3 normal; vec2 at; };

float waves(vec2 q, float time, float height) {
    return height * (sin(q.x * 5.0 + time) * cos(q.y * 4.0 - time * 0.7) + 0.4 * sin((q.x + q.y) * 9.0 + time * 1.3));
}

Vertex corner(vec2 grid) {
    vec2 q = grid * 4.0 - 2.0;
    float h = waves(q, u.time, p.height);
    vec2 slope = vec2(waves(q + vec2(0.01, 0.0), u.time, p.height) - h,
                      waves(q + vec2(0.0, 0.01), u.time, p.height) - h) / 0.01;
    vec3 at = vec3(q.x, h - 0.9, q.y + 3.2);
    Vertex v;
    v.position = vec4(at.x * 1.5 * u.resolution.y / u.resolution.x, at.y * 1.5, at.z - 0.1, at.z);
    v.normal = normalize(vec3(-slope.x, 1.0, -slope.y));
    v.at = grid;
    return v;
}

vec4 background(vec2 uv) {
    return vec4(mix(vec3(0.05, 0.03, 0.05), vec3(0.3, 0.12, 0.06), uv.y), 1.0);
}

vec4 shade(vec3 normal, vec2 at) {
    float light = clamp(dot(normalize(normal), normalize(vec3(0.4, 0.8, -0.3))), 0.0, 1.0);
    return vec4(mix(vec3(0.1, 0.04, 0.03), vec3(1.0, 0.6, 0.25), light * light) * (0.6 + 0.4 * at.y), 1.0);
}
