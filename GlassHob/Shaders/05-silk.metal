// Silk
//
// @particles 20000
// @still 9
//
// Threads of light in a slow wind. Every particle is a mote that the wind carries; what it leaves behind fades a little
// with every step, and so its way becomes a thread. Four functions make the motes, fade() and shade() make the picture.

// @param wind 0.5 0.0 1.5 How fast the wind blows
// @param curl 0.85 0.0 1.0 From long folds to small whirls
// @param change 0.4 0.0 1.0 How quickly the wind turns
// @param trail 0.85 0.0 1.0 How long the threads last
// @param hue 0.0 0.0 1.0 Where in the colours the silk begins
// @param light 0.7 0.0 1.0 How bright the threads are

struct Particle {
    float2 at;   // in heights of the picture, 0 in the middle
    float age;   // in seconds
    float life;  // the age at which it starts again
    float strand;
};

// A random number from 0 to 1 for a whole number: multiply, shift, mix.
float chance(uint n) {
    n = n * 747796405u + 2891336453u;
    n = ((n >> ((n >> 28) + 4u)) ^ n) * 277803737u;
    return float((n >> 22) ^ n) * 2.3283064e-10;
}

// The motes start on two rings that breathe, each in its own half of the picture.
Particle start(uint id, uint seed, float time) {
    Particle q;
    uint n = id * 977u + seed * 131071u;
    float side = id & 1u ? 1.0 : -1.0;
    float turn = 6.2831853 * chance(n);
    float r = 0.23 + 0.05 * sin(3.0 * turn + 0.4 * time) + 0.012 * chance(n + 1u);
    float2 middle = float2(side * 0.34 + 0.05 * sin(0.21 * time), side * 0.06 * cos(0.17 * time));
    q.at = middle + r * float2(cos(turn), sin(turn));
    q.life = 2.0 + 4.0 * chance(n + 2u);
    q.age = 0.0;
    q.strand = turn / 6.2831853 + 0.5 * side;
    return q;
}

// The wind is a landscape of waves, and it blows along the contour lines, never up or down: so the motes neither pile
// up nor leave holes. For a height h the wind is (dh/dy, -dh/dx).
float2 wind(float2 x, float time, constant Params& p) {
    float2 sum = float2(0.0);
    float fine = 2.2 + 2.4 * p.curl;
    float size = 0.16;
    float2 way = float2(0.8, 0.6);
    for (int i = 0; i < 5; i++) {
        float slope = size * cos(fine * dot(x, way) + time * (0.5 + 0.37 * float(i)) + 1.7 * float(i));
        sum += slope * float2(way.y, -way.x);
        way = float2(-0.37 * way.x - 0.93 * way.y, 0.93 * way.x - 0.37 * way.y);
        fine *= 1.55;
        size *= 0.62 + 0.25 * p.curl;
    }
    return sum;
}

Particle spawn(uint id, constant Params& p) {
    Particle q = start(id, 0u, 0.0);
    q.age = q.life * chance(id * 31u + 7u);
    return q;
}

void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    // The pointer stirs the air: what is near it goes round it.
    float2 away = q.at - (u.mouse - 0.5 * u.resolution) / u.resolution.y;
    float2 stir = float2(-away.y, away.x) * 0.02 / (0.02 + dot(away, away));
    q.at += u.timeDelta * (1.6 * p.wind * wind(q.at, 0.6 * p.change * u.time, p) + 0.6 * p.wind * stir);
    q.age += u.timeDelta;
    if (q.age > q.life) q = start(id, u.frame, u.time);
}

// Where the dot is, from (0, 0) to (1, 1), and how large it is, in heights of the picture.
float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    float2 at = float2(q.at.x * u.resolution.y / u.resolution.x, q.at.y) + 0.5;
    return float3(at, max(0.0034, 1.5 / u.resolution.y));
}

// The dot's light at a point of it; at runs from (-1, -1) to (1, 1). Dots are added to one another.
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {
    float soft = saturate(1.0 - dot(at, at));
    float coming = smoothstep(0.0, 0.6, q.age) * smoothstep(q.life, q.life - 0.8, q.age);
    float3 color = 0.5 + 0.5 * cos(6.2831853 * (0.42 * q.strand + p.hue + float3(0.02, 0.28, 0.52)));
    return float4(color * (0.05 * soft * coming), 0.0);
}

// What remains of the picture of the step before.
float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) {
    return previous.at(uv) * (0.90 + 0.085 * p.trail);
}

// Light may grow without end, a screen may not: the exponential bends it gently below 1.
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {
    float3 light = trails.at(uv).rgb * (0.4 + 3.2 * p.light * p.light) * 1.6;
    float2 q = uv - 0.5;
    float3 night = float3(0.012, 0.010, 0.026) * (1.0 - dot(q, q));
    float3 c = night + 1.0 - exp(-light);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, float2(0.06711056, 0.00583715))));
    return float4(c + (grain - 0.5) / 255.0, 1.0);
}
