#include <metal_stdlib>
using namespace metal;

#define STACK_SIZE 32
#define INF 1e20f

struct Ray { float3 origin; float minDistance; float3 direction; float maxDistance; };
struct Node { packed_float3 low; int left; packed_float3 high; int count; };
struct Triangle { packed_float3 v0, v1, v2; uint material; };
struct Material { float3 albedo; float3 emission; float roughness; uint kind; };
struct Hit { float t; uint triangle; float2 barycentric; bool found; };
struct Camera { float3 position, right, up, forward; };

struct Scene {
    const device Node *nodes [[id(0)]];
    const device Triangle *triangles [[id(1)]];
    constant Material *materials [[id(2)]];
    array<texture2d<float>, 4> textures [[id(3)]];
    sampler linearSampler [[id(7)]];
};

class Rng {
    uint state;
public:
    Rng(uint seed) : state(seed * 747796405u + 2891336453u) {}
    uint next() {
        state = state * 747796405u + 2891336453u;
        uint word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
        return (word >> 22u) ^ word;
    }
    float uniform() { return float(next()) * (1.0f / 4294967296.0f); }
    float2 uniform2() { float a = uniform(); return float2(a, uniform()); }
};

static float3 cosineHemisphere(float2 u, float3 n) {
    float phi = 2.0f * M_PI_F * u.x, cosTheta = sqrt(1 - u.y), sinTheta = sqrt(u.y);
    float c, s = sincos(phi, c);
    float sgn = copysign(1.0f, n.z);
    float a = -1.0f / (sgn + n.z), b = n.x * n.y * a;
    float3 t(1.0f + sgn * n.x * n.x * a, sgn * b, -sgn * n.x), bt(b, sgn + n.y * n.y * a, -n.y);
    return normalize(t * (c * sinTheta) + bt * (s * sinTheta) + n * cosTheta);
}

static bool boxHit(Ray r, float3 inverse, float3 low, float3 high, thread float &tNear) {
    float3 t0 = (low - r.origin) * inverse, t1 = (high - r.origin) * inverse;
    float3 lo = min(t0, t1), hi = max(t0, t1);
    tNear = max3(lo.x, lo.y, max(lo.z, r.minDistance));
    return tNear <= min3(hi.x, hi.y, min(hi.z, r.maxDistance));
}

static bool triangleHit(thread Ray &r, const device Triangle &t, thread float2 &uv) {
    const float3 a = t.v0, e1 = float3(t.v1) - a, e2 = float3(t.v2) - a;
    const float3 p = cross(r.direction, e2);
    const float det = dot(e1, p);
    if (fabs(det) < 1e-8f) return false;
    const float3 s = r.origin - a, q = cross(s, e1);
    uv = float2(dot(s, p), dot(r.direction, q)) / det;
    const float d = dot(e2, q) / det;
    if (any(uv < 0) || uv.x + uv.y > 1 || d < r.minDistance || d > r.maxDistance) return false;
    r.maxDistance = d;
    return true;
}

static Hit trace(Ray r, const device Node *nodes, const device Triangle *triangles) {
    Hit hit = { INF, 0, 0, false };
    int stack[STACK_SIZE], top = 0;
    stack[top++] = 0;
    const float3 inverse = 1.0f / r.direction;
    while (top > 0 && top < STACK_SIZE - 2) {
        const Node node = nodes[stack[--top]];
        float tNear;
        if (!boxHit(r, inverse, node.low, node.high, tNear)) continue;
        if (node.count == 0) {
            stack[top++] = node.left;
            stack[top++] = node.left + 1;
            continue;
        }
        for (int i = 0; i < node.count; i++) {
            float2 uv;
            if (triangleHit(r, triangles[node.left + i], uv)) hit = Hit{ r.maxDistance, uint(node.left + i), uv, true };
        }
    }
    return hit;
}

kernel void pathTrace(constant Scene &scene [[buffer(0)]],
                      constant Camera &camera [[buffer(1)]],
                      constant uint &frame [[buffer(2)]],
                      texture2d<float, access::read_write> accumulated [[texture(10)]],
                      uint2 tid [[thread_position_in_grid]],
                      uint2 size [[threads_per_grid]]) {
    Rng rng((tid.y * size.x + tid.x) ^ (frame << 16));
    const float2 uv = (float2(tid) + rng.uniform2()) / float2(size) * 2 - 1;
    Ray ray { camera.position, 1e-3f, normalize(camera.forward + uv.x * camera.right - uv.y * camera.up), INF };
    float3 radiance = 0, throughput = 1;
    for (uint bounce = 0; bounce < 5; ++bounce) {
        const Hit hit = trace(ray, scene.nodes, scene.triangles);
        if (!hit.found) { radiance += throughput * mix(float3(1), float3(0.5, 0.7, 1), ray.direction.y * 0.5 + 0.5); break; }
        const device Triangle &t = scene.triangles[hit.triangle];
        constant Material &material = scene.materials[t.material];
        const float3 n = normalize(cross(float3(t.v1) - float3(t.v0), float3(t.v2) - float3(t.v0)));
        const float3 facing = faceforward(n, ray.direction, n);
        radiance += throughput * material.emission;
        throughput *= material.albedo * scene.textures[t.material & 3].sample(scene.linearSampler, hit.barycentric, level(0)).rgb;
        const float q = max(throughput.x, max(throughput.y, throughput.z));
        if (bounce > 2) { if (rng.uniform() > q) break; throughput /= q; }
        ray.origin += ray.direction * hit.t + facing * 1e-3f;
        switch (material.kind) {
            case 0: ray.direction = cosineHemisphere(rng.uniform2(), facing); break;
            case 1: ray.direction = reflect(ray.direction, facing); break;
            default: {
                const bool inside = dot(ray.direction, n) > 0;
                const float3 bent = refract(ray.direction, facing, inside ? 1.5f : 1 / 1.5f);
                ray.direction = length_squared(bent) > 0 ? bent : reflect(ray.direction, facing);
            }
        }
    }
    const float4 old = frame > 0 ? accumulated.read(tid) : float4(0);
    accumulated.write(float4((old.rgb * frame + radiance) / (frame + 1), 1), tid);
}
