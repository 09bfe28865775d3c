// @particles 20000
// @param pull 0.3 0 1

struct Particle { float2 at; float2 speed; };

Particle spawn(uint id, constant Params& p) {
    float t = float(id) * 0.618034;
    Particle q;
    q.at = float2(fract(t), fract(float(id) * 0.00731));
    q.speed = float2(0.0);
    return q;
}

void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    float2 d = 0.5 - q.at;
    q.speed = q.speed * 0.99 + (float2(-d.y, d.x) * 0.8 + d * p.pull) * u.timeDelta;
    q.at += q.speed * u.timeDelta;
}

float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    return float3(q.at, 3.0 / u.resolution.y);
}

float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {
    return float4(0.25, 0.1, 0.05, 1.0) * saturate(1.0 - dot(at, at));
}

float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) {
    return previous.at(uv) * 0.94;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {
    return float4(1.0 - exp(-trails.at(uv).rgb), 1.0);
}
