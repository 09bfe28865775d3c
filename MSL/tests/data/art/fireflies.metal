// Fireflies -- struct arrays, nested functions, const refs, 2D arrays
// @param n 12 1 30 How many
// @param size 0.02 0.005 0.1
constant int MAXN = 30;
constant float2 dirs[4] = { {1, 0}, {0, 1}, {-1, 0}, {0, -1} };
constexpr constant float TAU = 2.0 * M_PI_F;
struct Fly { float2 pos; float glow; struct { float a; float b; } inner; };
float rand(float x) { return fract(sin(x * 12.9898) * 43758.5453); }
Fly make(int i, float t, thread const float2 &shift) {
    Fly f;
    float a = rand(float(i)) * TAU + t * (0.2 + rand(i + 17.0));
    f.pos = 0.5 + 0.4 * float2(cos(a), sin(a * 1.3)) + shift;
    f.glow = .5 + .5 * sin(t * 3 + i);
    f.inner.a = 1; f.inner.b = f.inner.a * 2;
    return f;
}
float kernelSum(float m[3][3]) { float s = 0; for (int i = 0; i < 3; i++) for (int j = 0; j < 3; j++) s += m[i][j]; return s; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    Fly flies[30];
    int count = min(int(p.n), MAXN);
    for (int i = 0; i < count; i++) { flies[i] = make(i, u.time, dirs[i % 4] * 0.02); }
    float aspect = u.resolution.x / u.resolution.y;
    float3 c = float3(0.01, 0.02, 0.05) * (1.2 - uv.y);
    for (int i = 0; i < count; ++i) {
        float2 d = (uv - flies[i].pos) * float2(aspect, 1);
        c += flies[i].glow * p.size * p.size * flies[i].inner.b / (dot(d, d) + 1e-4) * float3(.9, .8, .3);
    }
    float m[3][3] = {{1,2,3},{4,5,6},{7,8,9}};
    c *= kernelSum(m) / 45.0;
    c = c / (1 + c);
    return float4(c, 1);
}
