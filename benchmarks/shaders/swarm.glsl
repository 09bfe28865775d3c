struct Particle { vec2 at; vec2 speed; };

Particle spawn(uint id) {
    float t = float(id) * 0.618034;
    Particle q;
    q.at = vec2(fract(t), fract(float(id) * 0.00731));
    q.speed = vec2(0.0);
    return q;
}

void update(inout Particle q, uint id) {
    vec2 d = 0.5 - q.at;
    q.speed = q.speed * 0.99 + (vec2(-d.y, d.x) * 0.8 + d * p.pull) * u.timeDelta;
    q.at += q.speed * u.timeDelta;
}

vec3 place(Particle q) {
    return vec3(q.at, 3.0 / u.resolution.y);
}

vec4 ink(Particle q, vec2 at) {
    return vec4(0.25, 0.1, 0.05, 1.0) * clamp(1.0 - dot(at, at), 0.0, 1.0);
}

vec4 trailsAt(vec2 uv) {
    return texture(image, vec2(uv.x, 1.0 - uv.y));
}

vec4 fade(vec2 uv) {
    return trailsAt(uv) * 0.94;
}

vec4 shade(vec2 uv) {
    return vec4(1.0 - exp(-trailsAt(uv).rgb), 1.0);
}
