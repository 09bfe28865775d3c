// @grid 256
// @param height 0.18 0 1

struct Vertex {
    float4 position [[position]];
    float3 normal;
    float2 at;
};

float waves(float2 q, float time, float height) {
    return height * (sin(q.x * 5.0 + time) * cos(q.y * 4.0 - time * 0.7) + 0.4 * sin((q.x + q.y) * 9.0 + time * 1.3));
}

Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    float2 q = grid * 4.0 - 2.0;
    float h = waves(q, u.time, p.height);
    float2 slope = float2(waves(q + float2(0.01, 0.0), u.time, p.height) - h,
                          waves(q + float2(0.0, 0.01), u.time, p.height) - h) / 0.01;
    float3 at = float3(q.x, h - 0.9, q.y + 3.2);
    Vertex v;
    v.position = float4(at.x * 1.5 * u.resolution.y / u.resolution.x, at.y * 1.5, at.z - 0.1, at.z);
    v.normal = normalize(float3(-slope.x, 1.0, -slope.y));
    v.at = grid;
    return v;
}

float4 background(float2 uv, constant Uniforms& u, constant Params& p) {
    return float4(mix(float3(0.05, 0.03, 0.05), float3(0.3, 0.12, 0.06), uv.y), 1.0);
}

float4 shade(Vertex v, constant Uniforms& u, constant Params& p) {
    float light = saturate(dot(normalize(v.normal), normalize(float3(0.4, 0.8, -0.3))));
    return float4(mix(float3(0.1, 0.04, 0.03), float3(1.0, 0.6, 0.25), light * light) * (0.6 + 0.4 * v.at.y), 1.0);
}
