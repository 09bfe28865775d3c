// @param scale 6 1 20 cells
// @param jitter 1 0 1
float2 hash2(float2 p) {
    p = float2(dot(p, float2(127.1, 311.7)), dot(p, float2(269.5, 183.3)));
    return fract(sin(p) * 43758.5453);
}
uint wang(uint h) { h = (h ^ 61u) ^ (h >> 16); h *= 9u; h ^= h >> 4; h *= 0x27d4eb2du; h = h ^ (h >> 15); return h; }
void vor(float2 x, float t, float j, thread float& d1, thread float& d2, thread int2& id) {
    float2 n = floor(x), f = fract(x);
    d1 = d2 = 8.0;
    for (int jj = -1; jj <= 1; jj++)
    for (int i = -1; i <= 1; i++) {
        float2 g = float2(i, jj);
        float2 o = hash2(n + g) * j;
        o = 0.5 + 0.5 * sin(t + 6.2831 * o);
        float2 r = g + o - f;
        float d = dot(r, r);
        if (d < d1) { d2 = d1; d1 = d; id = int2(n + g); }
        else if (d < d2) d2 = d;
    }
    d1 = sqrt(d1); d2 = sqrt(d2);
}
template <typename T> T sq(T x) { return x * x; }
template <int N> float fbm(float2 p) { float a = 0.5, s = 0; for (int i = 0; i < N; ++i) { s += a * (0.5 + 0.5*sin(p.x)*sin(p.y)); p *= 2.03; a *= .5; } return s; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    uv.x *= u.resolution.x / u.resolution.y;
    float a, b; int2 id = int2(0);
    vor(uv * p.scale, u.time, p.jitter, a, b, id);
    uint h = wang(uint(id.x * 73 + id.y * 719 + 5000));
    float3 col = float3(h & 255u, (h >> 8) & 255u, (h >> 16) & 255u) / 255.0;
    half3 hc = half3(col) * 0.8h;
    col = float3(hc) * (1.0 - 0.5 * sq(a));
    float w = fwidth(b - a);
    col *= smoothstep(0.02, 0.02 + w, b - a);
    col += 0.1 * fbm<4>(uv * 3);
    float2 m = u.mouse / u.resolution;
    col += 0.3 * exp(-20.0 * distance_squared(uv, m * float2(u.resolution.x / u.resolution.y, 1)));
    if (any(isnan(col))) return float4(1, 0, 1, 1);
    return float4(clamp(col, 0.0, 1.0), 1.0);
}
float2 sound(float t, constant Params& p) {
    float f = 220.0 * exp2(floor(fmod(t * 4.0, 8.0)) / 12.0);
    float env = exp(-4.0 * fract(t * 4.0));
    float s = 0;
    for (int k = 1; k <= 5; k += 2) s += sin(t * f * 6.2831853 * k) / k;
    return float2(s * env * 0.3, s * env * .3 * sin(t));
}
