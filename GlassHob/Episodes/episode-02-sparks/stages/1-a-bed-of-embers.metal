// Step 1 · A bed of embers
//
// @particles 2000
//
// Two thousand dots, each with a place of its own. The number of a dot is all that its place depends on.

// @param size 0.5 0.1 1.0 How large they are

struct Particle {
    float2 at;    // where it is: the fire at 0, the picture 1 high
};

float chance(uint n) {
    // Mixes the bits of a number until it looks like chance.
    n = n * 747796405u + 2891336453u;
    n = ((n >> ((n >> 28) + 4u)) ^ n) * 277803737u;
    return float((n >> 22) ^ n) * 2.3283064e-10;
}

Particle spawn(uint id, constant Params& p) {
    Particle q;
    // The sum of two chances: near the middle more often than far from it.
    float side = chance(8u * id) + chance(8u * id + 1u) - 1.0;
    // A heap: the nearer to the middle, the higher.
    float height = 0.20 * (1.0 - side * side);
    q.at = float2(0.55 * side, height * chance(8u * id + 2u));
    return q;
}

// Nothing moves yet.
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}

float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    float2 at = q.at + float2(0.0, 0.12);
    at.x = at.x * u.resolution.y / u.resolution.x + 0.5;
    // A dot has a place from 0 to 1, and a size in heights of the picture.
    return float3(at, 0.024 * p.size);
}

float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {
    // Over a dot, at runs from -1 to 1: bright in the middle, nothing at the rim.
    float soft = saturate(1.0 - length(at));
    return float4(float3(1.0, 0.45, 0.12) * soft * soft, 0.0);
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {
    // All dots are added up; this keeps their sum below white.
    float3 light = trails.at(uv).rgb;
    return float4(1.0 - exp(-1.4 * light), 1.0);
}
