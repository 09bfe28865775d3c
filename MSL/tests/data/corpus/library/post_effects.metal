#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;

struct RasterizerData { float4 position [[position]]; float2 texCoord [[user(texturecoord)]]; };
struct PostUniforms {
    float2 texelSize;
    float exposure;
    float gamma;
    float4x4 inverseProjection;
    float4 kernelSamples[64];
    int kernelSize;
    bool enableBloom;
    bool enableVignette;
};

constexpr sampler linearClamp(mag_filter::linear, min_filter::linear, address::clamp_to_edge);
constexpr sampler depthSampler(filter::nearest, address::clamp_to_edge);

vertex RasterizerData quadVertex(unsigned int vertexID [[vertex_id]], constant packed_float2 *vertices [[buffer(0)]]) {
    RasterizerData out;
    float2 p = vertices[vertexID];
    out.position = float4(p, 0.0f, 1.0f);
    out.texCoord = fma(p, float2(0.5f, -0.5f), 0.5f);
    return out;
}

namespace tonemap {
    enum class Operator : int { None, Reinhard, Filmic, ACES };
    static inline float3 reinhard(float3 c) { return c / (1.0f + c); }
    static inline float3 filmic(float3 x) {
        constexpr float A = 0.15f, B = 0.50f, C = 0.10f, D = 0.20f, E = 0.02f, F = 0.30f;
        return ((x * (A * x + C * B) + D * E) / (x * (A * x + B) + D * F)) - E / F;
    }
    static inline float3 aces(float3 v) {
        const float3x3 inputMatrix = float3x3(float3(0.59719f, 0.07600f, 0.02840f), float3(0.35458f, 0.90834f, 0.13383f), float3(0.04823f, 0.01566f, 0.83777f));
        const float3x3 outputMatrix = {{1.60475f, -0.10208f, -0.00327f}, {-0.53108f, 1.10813f, -0.07276f}, {-0.07367f, -0.00605f, 1.07602f}};
        v = inputMatrix * v;
        float3 a = v * (v + 0.0245786f) - 0.000090537f;
        float3 b = v * (0.983729f * v + 0.4329510f) + 0.238081f;
        return saturate(outputMatrix * (a / b));
    }
    static inline float3 apply(Operator op, float3 c) {
        switch (op) {
            case Operator::Reinhard: return reinhard(c);
            case Operator::Filmic: return filmic(c * 2.0f) / filmic(float3(11.2f));
            case Operator::ACES: return aces(c);
            case Operator::None: break;
        }
        return c;
    }
}

fragment half4 composite(RasterizerData in [[stage_in]],
                         texture2d<half> sceneTexture [[texture(0)]],
                         texture2d<half> bloomTexture [[texture(1)]],
                         constant PostUniforms &u [[buffer(0)]],
                         constant tonemap::Operator &op [[buffer(1)]]) {
    half4 hdr = sceneTexture.sample(linearClamp, in.texCoord);
    if (u.enableBloom) hdr.rgb += bloomTexture.sample(linearClamp, in.texCoord).rgb * 0.4h;
    float3 mapped = tonemap::apply(op, float3(hdr.rgb) * exp2(u.exposure));
    mapped = powr(mapped, 1.0f / u.gamma);
    if (u.enableVignette) {
        const float2 d = in.texCoord - 0.5f;
        mapped *= 1.0f - dot(d, d) * 0.8f;
    }
    return half4(half3(mapped), hdr.a);
}

fragment half4 ssao(RasterizerData in [[stage_in]],
                    depth2d<float> depth [[texture(0)]],
                    texture2d<float> normals [[texture(1)]],
                    texture2d<float, access::sample> noise [[texture(2)]],
                    constant PostUniforms &u [[buffer(0)]]) {
    const float z = depth.sample(depthSampler, in.texCoord);
    const float4 clip = float4(in.texCoord * 2.0f - 1.0f, z, 1.0f);
    float4 view = u.inverseProjection * clip;
    view /= view.w;
    const float3 n = normalize(normals.sample(depthSampler, in.texCoord).xyz * 2.0f - 1.0f);
    const float3 random = noise.read(uint2(in.position.xy) & 3u).xyz;
    const float3 tangent = normalize(random - n * dot(random, n));
    const float3x3 tbn(tangent, cross(n, tangent), n);
    float occlusion = 0.0f;
    for (int i = 0; i < min(u.kernelSize, 64); ++i) {
        const float3 s = view.xyz + (tbn * u.kernelSamples[i].xyz) * 0.5f;
        const float2 at = s.xy / s.z * 0.5f + 0.5f;
        const float d = depth.sample(depthSampler, at);
        occlusion += (d >= s.z + 0.025f ? 1.0f : 0.0f) * smoothstep(0.0f, 1.0f, 0.5f / abs(view.z - d));
    }
    return half4(half(1.0f - occlusion / max(u.kernelSize, 1)));
}

fragment float4 fxaa(RasterizerData in [[stage_in]], texture2d<float> source [[texture(0)]], constant PostUniforms &u [[buffer(0)]]) {
    constexpr float kSpanMax = 8.0, kReduceMin = (1.0 / 128.0), kReduceMul = (1.0 / 8.0);
    const float3 luma(0.299, 0.587, 0.114);
    const float2 uv = in.texCoord;
    #define TAP(x, y) source.sample(linearClamp, uv + float2(x, y) * u.texelSize).rgb
    float nw = dot(TAP(-1, -1), luma), ne = dot(TAP(1, -1), luma), sw = dot(TAP(-1, 1), luma), se = dot(TAP(1, 1), luma);
    float m = dot(TAP(0, 0), luma);
    float lo = min(m, min(min(nw, ne), min(sw, se))), hi = max(m, max(max(nw, ne), max(sw, se)));
    float2 dir = float2(-((nw + ne) - (sw + se)), ((nw + sw) - (ne + se)));
    float reduce = max((nw + ne + sw + se) * (0.25 * kReduceMul), kReduceMin);
    float rcp = 1.0 / (min(abs(dir.x), abs(dir.y)) + reduce);
    dir = min(float2(kSpanMax), max(float2(-kSpanMax), dir * rcp)) * u.texelSize;
    float3 a = 0.5 * (source.sample(linearClamp, uv + dir * (1.0/3.0 - 0.5)).rgb + source.sample(linearClamp, uv + dir * (2.0/3.0 - 0.5)).rgb);
    float3 b = a * 0.5 + 0.25 * (source.sample(linearClamp, uv + dir * -0.5).rgb + source.sample(linearClamp, uv + dir * 0.5).rgb);
    float l = dot(b, luma);
    #undef TAP
    return float4((l < lo || l > hi) ? a : b, 1.0);
}
