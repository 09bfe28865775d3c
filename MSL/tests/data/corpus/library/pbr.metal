#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;

typedef enum {
    BufferIndexVertices = 0,
    BufferIndexUniforms = 11,
    BufferIndexLights = 12,
    BufferIndexMaterials = 13
} BufferIndices;

enum Attributes { Position = 0, Normal = 1, UV = 2, Tangent = 3, Bitangent = 4, Joints = 6, Weights = 7 };

enum LightType { unused = 0, Sun = 1, Spot = 2, Point = 3, Ambient = 4 };

typedef struct {
    matrix_float4x4 modelMatrix;
    matrix_float4x4 viewMatrix;
    matrix_float4x4 projectionMatrix;
    matrix_float3x3 normalMatrix;
    matrix_float4x4 shadowMatrix;
} Uniforms;

struct Light {
    LightType type;
    vector_float3 position;
    vector_float3 color;
    float radius;
    vector_float3 attenuation;
    float coneAngle;
    vector_float3 coneDirection;
    float coneAttenuation;
};

typedef struct {
    vector_float3 baseColor;
    float roughness, metallic, ambientOcclusion;
} Material;

struct VertexIn {
    float4 position [[attribute(Position)]];
    float3 normal [[attribute(Normal)]];
    float2 uv [[attribute(UV)]];
    float3 tangent [[attribute(Tangent)]];
    float3 bitangent [[attribute(Bitangent)]];
    ushort4 joints [[attribute(Joints)]];
    float4 weights [[attribute(Weights)]];
};

struct VertexOut {
    float4 position [[position]];
    float2 uv;
    float3 worldPosition;
    float3 worldNormal;
    float3 worldTangent;
    float3 worldBitangent;
    float4 shadowPosition;
};

constant bool hasSkeleton [[function_constant(5)]];
constant bool hasColorTexture [[function_constant(0)]];
constant bool hasNormalTexture [[function_constant(1)]];

vertex VertexOut vertex_main(const VertexIn vertexIn [[stage_in]],
                             constant float4x4 *jointMatrices [[buffer(22), function_constant(hasSkeleton)]],
                             constant Uniforms &uniforms [[buffer(BufferIndexUniforms)]])
{
    float4 position = vertexIn.position;
    float4 normal = float4(vertexIn.normal, 0);
    if (hasSkeleton) {
        float4 weights = vertexIn.weights;
        ushort4 joints = vertexIn.joints;
        position = weights.x * (jointMatrices[joints.x] * position) +
                   weights.y * (jointMatrices[joints.y] * position) +
                   weights.z * (jointMatrices[joints.z] * position) +
                   weights.w * (jointMatrices[joints.w] * position);
        normal = weights.x * (jointMatrices[joints.x] * normal) + weights.y * (jointMatrices[joints.y] * normal);
    }
    VertexOut out {
        .position = uniforms.projectionMatrix * uniforms.viewMatrix * uniforms.modelMatrix * position,
        .uv = vertexIn.uv,
        .worldPosition = (uniforms.modelMatrix * position).xyz,
        .worldNormal = uniforms.normalMatrix * normal.xyz,
        .worldTangent = uniforms.normalMatrix * vertexIn.tangent,
        .worldBitangent = uniforms.normalMatrix * vertexIn.bitangent,
        .shadowPosition = uniforms.shadowMatrix * uniforms.modelMatrix * position
    };
    return out;
}

constexpr sampler textureSampler(filter::linear, address::repeat, mip_filter::linear, max_anisotropy(8));

float3 computeSpecular(float3 normal, float3 viewDirection, float3 lightDirection, float roughness, float3 F0);
float3 computeDiffuse(Material material, float3 normal, float3 lightDirection);

float G1V(float nDotV, float k) { return 1.0f / (nDotV * (1.0f - k) + k); }

float3 computeSpecular(float3 normal, float3 viewDirection, float3 lightDirection, float roughness, float3 F0) {
    float alpha = roughness * roughness;
    float3 halfVector = normalize(viewDirection + lightDirection);
    float nDotL = saturate(dot(normal, lightDirection));
    float nDotV = saturate(dot(normal, viewDirection));
    float nDotH = saturate(dot(normal, halfVector));
    float lDotH = saturate(dot(lightDirection, halfVector));
    float alphaSquared = alpha * alpha;
    float d = nDotH * nDotH * (alphaSquared - 1.0) + 1.0f;
    float D = alphaSquared / (M_PI_F * d * d);
    float3 fresnel = F0 + (1.0 - F0) * pow(1.0 - lDotH, 5.0);
    float k = alpha / 2.0f;
    return nDotL * D * fresnel * G1V(nDotL, k) * G1V(nDotV, k);
}

float3 computeDiffuse(Material material, float3 normal, float3 lightDirection) {
    float nDotL = saturate(dot(normal, lightDirection));
    return material.baseColor * (1.0 - material.metallic) * nDotL / M_PI_F;
}

static float shadowOf(float4 shadowPosition, depth2d<float> shadowMap) {
    float3 position = shadowPosition.xyz / shadowPosition.w;
    float2 xy = position.xy * 0.5 + 0.5;
    xy.y = 1 - xy.y;
    constexpr sampler s(coord::normalized, filter::linear, address::clamp_to_edge, compare_func::less);
    constexpr int neighbourWidth = 3;
    constexpr float neighbours = (neighbourWidth * 2.0 + 1.0) * (neighbourWidth * 2.0 + 1.0);
    float mapSize = 4096;
    float texelSize = 1.0 / mapSize;
    float total = 0.0;
    for (int x = -neighbourWidth; x <= neighbourWidth; x++) {
        for (int y = -neighbourWidth; y <= neighbourWidth; y++) {
            total += shadowMap.sample_compare(s, xy + float2(x, y) * texelSize, position.z);
        }
    }
    return total / neighbours;
}

fragment float4 fragment_PBR(VertexOut in [[stage_in]],
                             bool isFront [[front_facing]],
                             constant Light *lights [[buffer(BufferIndexLights)]],
                             constant uint &lightCount [[buffer(1)]],
                             constant Material &_material [[buffer(BufferIndexMaterials)]],
                             constant float3 &cameraPosition [[buffer(2)]],
                             texture2d<float> baseColorTexture [[texture(0), function_constant(hasColorTexture)]],
                             texture2d<float> normalTexture [[texture(1), function_constant(hasNormalTexture)]],
                             texture2d<float> roughnessTexture [[texture(2)]],
                             texturecube<float> skybox [[texture(11)]],
                             texturecube<float> skyDiffuse [[texture(12)]],
                             texture2d<float> brdfLut [[texture(13)]],
                             depth2d<float> shadowTexture [[texture(15)]])
{
    Material material = _material;
    if (hasColorTexture) {
        float4 color = baseColorTexture.sample(textureSampler, in.uv);
        if (color.a < 0.1) discard_fragment();
        material.baseColor = color.rgb;
    }
    if (!is_null_texture(roughnessTexture)) material.roughness = roughnessTexture.sample(textureSampler, in.uv).r;
    float3 normal = in.worldNormal;
    if (hasNormalTexture) {
        float3 n = normalTexture.sample(textureSampler, in.uv).rgb * 2 - 1;
        normal = float3x3(in.worldTangent, in.worldBitangent, in.worldNormal) * n;
    }
    normal = normalize(isFront ? normal : -normal);
    float3 viewDirection = normalize(cameraPosition - in.worldPosition);
    float3 F0 = mix(float3(0.04), material.baseColor, material.metallic);
    float3 diffuse = 0, specular = 0;
    for (uint i = 0; i < lightCount; i++) {
        Light light = lights[i];
        switch (light.type) {
            case Sun: {
                float3 direction = normalize(light.position);
                diffuse += computeDiffuse(material, normal, direction) * light.color;
                specular += computeSpecular(normal, viewDirection, direction, material.roughness, F0);
                break;
            }
            case Point: {
                float d = distance(light.position, in.worldPosition);
                float attenuation = 1.0 / (light.attenuation.x + light.attenuation.y * d + light.attenuation.z * d * d);
                diffuse += computeDiffuse(material, normal, normalize(light.position - in.worldPosition)) * light.color * attenuation;
                break;
            }
            case Spot: {
                float3 toLight = normalize(light.position - in.worldPosition);
                float spot = dot(-toLight, normalize(light.coneDirection));
                if (spot > cos(light.coneAngle)) diffuse += pow(spot, light.coneAttenuation) * light.color;
                break;
            }
            case Ambient: diffuse += light.color * material.baseColor; break;
            case unused: break;
        }
    }
    constexpr sampler mips(filter::linear, mip_filter::linear);
    float3 reflection = reflect(-viewDirection, normal);
    float3 prefiltered = skybox.sample(mips, reflection, level(material.roughness * 10)).rgb;
    float nDotV = saturate(dot(normal, viewDirection));
    float2 envBRDF = brdfLut.sample(mips, float2(material.roughness, nDotV)).rg;
    float4 sky = skyDiffuse.sample(textureSampler, normal);
    float3 color = diffuse * shadowOf(in.shadowPosition, shadowTexture) + specular + prefiltered * (F0 * envBRDF.r + envBRDF.g) + sky.rgb * material.baseColor * 0.1;
    return float4(color * material.ambientOcclusion, 1);
}

fragment float4 fragment_sky(VertexOut in [[stage_in]], texturecube<half> cube [[texture(0)]], sampler s [[sampler(0)]]) {
    half4 color = cube.sample(s, in.worldPosition);
    return float4(color);
}

vertex float4 vertex_depth(const VertexIn in [[stage_in]], constant Uniforms &u [[buffer(1)]]) {
    return u.shadowMatrix * u.modelMatrix * in.position;
}

struct GBufferOut {
    float4 albedo [[color(0)]];
    float4 normal [[color(1)]];
    half4 position [[color(2)]];
};

fragment GBufferOut fragment_gBuffer(VertexOut in [[stage_in]], constant Material &material [[buffer(0)]]) {
    GBufferOut out;
    out.albedo = float4(material.baseColor, 1.0);
    out.normal = float4(normalize(in.worldNormal), 1.0);
    out.position = half4(float4(in.worldPosition, 1.0));
    return out;
}
