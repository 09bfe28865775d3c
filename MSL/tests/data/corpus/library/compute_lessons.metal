#include <metal_stdlib>
using namespace metal;

struct Particle {
    float2 position;
    float direction;
    float speed;
    float4 color;
    float life;
    float age;
    float size, scale;
};

struct ParticleOut {
    float4 position [[position]];
    float point_size [[point_size]];
    float4 color;
    float brightness [[flat]];
};

kernel void compute_particles(device Particle *particles [[buffer(0)]],
                              constant float &delta [[buffer(1)]],
                              uint id [[thread_position_in_grid]])
{
    device Particle &p = particles[id];
    float xVelocity = p.speed * cos(p.direction);
    float yVelocity = p.speed * sin(p.direction) + 3.0;
    p.position.x += xVelocity * delta;
    p.position.y += yVelocity * delta;
    p.age += 1.0;
    float age = p.age / p.life;
    p.scale = mix(1.0f, 0.2f, age);
    if (p.age > p.life) {
        p.position = float2(0);
        p.age = 0;
        p.scale = 1;
    }
}

vertex ParticleOut vertex_particle(constant float2 &size [[buffer(0)]],
                                   const device Particle *particles [[buffer(1)]],
                                   constant float2 &emitterPosition [[buffer(2)]],
                                   uint instance [[instance_id]],
                                   uint vid [[vertex_id]])
{
    ParticleOut out;
    float2 position = particles[instance].position + emitterPosition;
    out.position.xy = position.xy / size * 2.0 - 1.0;
    out.position.z = 0;
    out.position.w = 1;
    out.point_size = particles[instance].size * particles[instance].scale;
    out.color = particles[instance].color;
    out.brightness = vid == 0 ? 1 : 0.5;
    return out;
}

fragment float4 fragment_particle(ParticleOut in [[stage_in]],
                                  texture2d<float> particleTexture [[texture(0)]],
                                  float2 point [[point_coord]])
{
    constexpr sampler default_sampler;
    float4 color = particleTexture.sample(default_sampler, point);
    if (color.a < 0.5) {
        discard_fragment();
    }
    color = float4(color.xyz, 0.5);
    color *= in.color;
    return color * in.brightness;
}

kernel void life(texture2d<float, access::read> current [[texture(0)]],
                 texture2d<float, access::write> next [[texture(1)]],
                 ushort2 gridPosition [[thread_position_in_grid]])
{
    constexpr float3 alive(1.0), dead = float3(0);
    const ushort2 neighbors[] = { {0xFFFF, 0xFFFF}, {0, 0xFFFF}, {1, 0xFFFF}, {0xFFFF, 0}, {1, 0}, {0xFFFF, 1}, {0, 1}, {1, 1} };
    ushort width = current.get_width(), height = current.get_height();
    if (gridPosition.x >= width || gridPosition.y >= height) return;
    int count = 0;
    for (const ushort2 n : neighbors) {
        ushort2 at = gridPosition + n;
        at.x = at.x == 0xFFFF ? width - 1 : at.x % width;
        at.y = at.y == 0xFFFF ? height - 1 : at.y % height;
        count += current.read(at).r > 0.5;
    }
    bool isAlive = current.read(gridPosition).r > 0.5;
    bool stays = isAlive ? (count == 2 || count == 3) : count == 3;
    next.write(float4(stays ? alive : dead, 1), gridPosition);
}

// Matrix product with tiles
template <typename T, int TILE>
struct Tile {
    T data[TILE][TILE];
};

kernel void matmul(device const float *A [[buffer(0)]],
                   device const float *B [[buffer(1)]],
                   device float *C [[buffer(2)]],
                   constant uint3 &dims [[buffer(3)]],
                   uint2 gid [[thread_position_in_grid]],
                   uint2 tid [[thread_position_in_threadgroup]])
{
    constexpr int N = 8;
    threadgroup float tileA[N][N];
    threadgroup float tileB[N][N];
    float sum = 0;
    for (uint t = 0; t < (dims.z + N - 1) / N; ++t) {
        const uint ka = t * N + tid.x, kb = t * N + tid.y;
        tileA[tid.y][tid.x] = ka < dims.z && gid.y < dims.x ? A[gid.y * dims.z + ka] : 0.0f;
        tileB[tid.y][tid.x] = kb < dims.z && gid.x < dims.y ? B[kb * dims.y + gid.x] : 0.0f;
        threadgroup_barrier(mem_flags::mem_threadgroup);
        for (int k = 0; k < N; ++k)
            sum = fma(tileA[tid.y][k], tileB[k][tid.x], sum);
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    if (gid.y < dims.x && gid.x < dims.y) C[gid.y * dims.y + gid.x] = sum;
}

kernel void bitonic(device int *values [[buffer(0)]], constant uint2 &stage [[buffer(1)]], uint i [[thread_position_in_grid]]) {
    uint j = stage.y, k = stage.x, partner = i ^ j;
    if (partner > i) {
        bool ascending = (i & k) == 0;
        int a = values[i], b = values[partner];
        if ((a > b) == ascending) { values[i] = b; values[partner] = a; }
    }
}

struct Body { packed_float3 position; float mass; packed_float3 velocity; float _pad; };
static_assert(sizeof(Body) == 32, "the host's struct has this size");

kernel void nbody(device const Body *bodies [[buffer(0)]], device Body *next [[buffer(1)]], constant uint &count [[buffer(2)]],
                  constant float &dt [[buffer(3)]], uint i [[thread_position_in_grid]]) {
    Body self = bodies[i];
    float3 force = 0;
    for (uint j = 0; j < count; j++) {
        const float3 d = float3(bodies[j].position) - float3(self.position);
        const float r2 = length_squared(d) + 1e-3f;
        force += d * (bodies[j].mass * rsqrt(r2) / r2);
    }
    self.velocity += force * dt;
    self.position += self.velocity * dt;
    next[i] = self;
}
