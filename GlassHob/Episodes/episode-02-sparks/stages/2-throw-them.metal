// Step 2 · Throw them
//
// @particles 2000
//
// Every step of a sixtieth of a second, the speed moves the place, and gravity changes the speed.

// @param force 0.5 0.1 1.0 How high the fire throws them
// @param spread 0.4 0.0 1.0 How far they fly apart

struct Particle {
    float2 at;    // where it is: the fire at 0, the picture 1 high
    float2 speed; // how far it flies in a second
    float age;    // how many seconds it has glowed
    float life;   // and after how many it goes out
};

float chance(uint n) {
    // Mixes the bits of a number until it looks like chance.
    n = n * 747796405u + 2891336453u;
    n = ((n >> ((n >> 28) + 4u)) ^ n) * 277803737u;
    return float((n >> 22) ^ n) * 2.3283064e-10;
}

// A new life: where it begins, how it is thrown, how long it lasts.
Particle thrown(uint n, constant Params& p) {
    Particle q;
    float side = chance(n) + chance(n + 1u) - 1.0;
    q.at = float2(0.14 * side, 0.02 * chance(n + 2u));
    float up = (0.4 + p.force) * (0.5 + 0.8 * chance(n + 3u));
    float apart = p.spread * (chance(n + 4u) - 0.5 + side);
    q.speed = float2(apart, up);
    q.age = 0.0;
    q.life = 0.5 + 2.0 * chance(n + 5u) * chance(n + 6u);
    return q;
}

Particle spawn(uint id, constant Params& p) {
    Particle q = thrown(8u * id, p);
    // The first ones wait, or all of them would start at once.
    q.age = -2.5 * chance(8u * id + 7u);
    return q;
}

void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.age += u.timeDelta;
    if (q.age < 0.0) return;
    q.speed.y -= 0.55 * u.timeDelta;
    q.at += q.speed * u.timeDelta;
    // What has gone out is thrown again, by other chances.
    uint n = 8u * id + 24593u * u.frame;
    if (q.age > q.life) q = thrown(n, p);
}

float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    float2 at = q.at + float2(0.0, 0.12);
    at.x = at.x * u.resolution.y / u.resolution.x + 0.5;
    // Those that wait are not seen: they have no size.
    float size = q.age < 0.0 ? 0.0 : 0.009;
    return float3(at, size);
}

float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {
    float soft = saturate(1.0 - length(at));
    return float4(float3(1.0, 0.45, 0.12) * soft * soft, 0.0);
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {
    float3 light = trails.at(uv).rgb;
    return float4(1.0 - exp(-1.4 * light), 1.0);
}
