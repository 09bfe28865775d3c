#include <metal_stdlib>
using namespace metal;

struct quat {
    float4 v;
    quat() thread : v(0, 0, 0, 1) {}
    quat(float4 value) : v(value) {}
    quat(float3 axis, float angle) : v(float4(normalize(axis) * sin(angle * 0.5f), cos(angle * 0.5f))) {}
    static quat identity() { return quat(); }
    quat conjugate() const { return quat(float4(-v.xyz, v.w)); }
    float3 act(float3 p) const { const float3 t = 2.0f * cross(v.xyz, p); return p + v.w * t + cross(v.xyz, t); }
    float4x4 matrix() const {
        const float x = v.x, y = v.y, z = v.z, w = v.w;
        return float4x4(float4(1 - 2 * (y * y + z * z), 2 * (x * y + z * w), 2 * (x * z - y * w), 0),
                        float4(2 * (x * y - z * w), 1 - 2 * (x * x + z * z), 2 * (y * z + x * w), 0),
                        float4(2 * (x * z + y * w), 2 * (y * z - x * w), 1 - 2 * (x * x + y * y), 0),
                        float4(0, 0, 0, 1));
    }
};
inline quat operator*(quat a, quat b) {
    return quat(float4(a.v.w * b.v.xyz + b.v.w * a.v.xyz + cross(a.v.xyz, b.v.xyz), a.v.w * b.v.w - dot(a.v.xyz, b.v.xyz)));
}
inline quat operator-(quat a) { return quat(-a.v); }
inline bool operator==(quat a, quat b) { return all(a.v == b.v); }
static quat slerp(quat a, quat b, float t) {
    float d = dot(a.v, b.v);
    if (d < 0) { b = -b; d = -d; }
    if (d > 0.9995f) return quat(normalize(mix(a.v, b.v, t)));
    const float theta = acos(clamp(d, -1.0f, 1.0f));
    return quat((a.v * sin((1 - t) * theta) + b.v * sin(t * theta)) / sin(theta));
}

struct DualQuat {
    quat real, dual;
    DualQuat(quat r, float3 t) : real(r), dual(quat(float4(t, 0)) * r) { dual.v *= 0.5f; }
    float3 translation() const { return 2.0f * (dual * real.conjugate()).v.xyz; }
};

struct Instance { packed_float3 position; packed_float3 axis; float angle; half scale; ushort flags; };
static_assert(sizeof(Instance) == 32, "host layout");

kernel void animate(device Instance *instances [[buffer(0)]], device float4x4 *matrices [[buffer(1)]],
                    constant float &time [[buffer(2)]], uint i [[thread_position_in_grid]]) {
    device auto &instance = instances[i];
    quat q = slerp(quat::identity(), quat(instance.axis, instance.angle + time), 0.5f);
    DualQuat d(q, instance.position);
    float4x4 m = d.real.matrix();
    m.columns[3] = float4(d.translation() + q.act(float3(0, instance.scale, 0)), 1);
    if (q == quat() || (instance.flags & 1u)) m[3].w = 2;
    matrices[i] = m;
}
