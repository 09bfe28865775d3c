// Island of Stars
//
// @particles 20000
// @still 4
//
// A galaxy. No arm is painted anywhere: every star runs round the middle on an ellipse, and each ellipse is turned a
// little farther than the one inside it. Where the ellipses crowd together the stars do, too, and that makes the arms.

// @param speed 0.5 0.0 2.0 How fast the stars run
// @param arms 0.8 0.0 1.0 How strongly the ellipses are drawn out
// @param wind 0.55 0.1 1.0 How tightly the arms are wound
// @param tilt 0.45 0.0 1.0 From above, or from the side
// @param size 0.5 0.0 1.0 How large the stars are
// @param warmth 0.5 0.0 1.0 The colour of the old stars in the middle

struct Particle {
    float radius;   // of its ellipse
    float turn;     // how far it has run on it
    float height;   // above the disc
    float kind;     // below 0.04 a glowing cloud, near 1 a bright young star
    float3 color;
};

float chance(uint n) {
    n = n * 747796405u + 2891336453u;
    n = ((n >> ((n >> 28) + 4u)) ^ n) * 277803737u;
    return float((n >> 22) ^ n) * 2.3283064e-10;
}

Particle spawn(uint id, constant Params& p) {
    Particle q;
    uint n = id * 7u;
    float bulge = step(chance(n), 0.16);
    float r = chance(n + 1u);
    q.radius = mix(0.04 - 0.22 * log(1.0 - 0.97 * r), 0.16 * r * r + 0.004, bulge);
    q.turn = 6.2831853 * chance(n + 2u);
    float h = chance(n + 3u) + chance(n + 4u) + chance(n + 5u) - 1.5;
    q.height = h * mix(0.020, 0.5 * q.radius, bulge);
    q.kind = mix(chance(n + 6u), 0.4, bulge);

    // The old ones in the middle are warm, the young ones outside are blue, the clouds between them rose.
    float3 old = mix(float3(1.0, 0.86, 0.70), float3(1.0, 0.60, 0.30), p.warmth);
    q.color = mix(old, float3(0.42, 0.62, 1.0), smoothstep(0.05, 0.42, q.radius + 0.12 * (q.kind - 0.5)));
    if (q.kind < 0.04) q.color = mix(float3(1.0, 0.25, 0.42), float3(0.35, 0.45, 1.0), chance(n + 1u));
    return q;
}

// The farther out, the longer a star takes for one turn.
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.turn += u.timeDelta * p.speed * 0.22 / (0.12 + q.radius);
}

// From its ellipse into the galaxy, from the galaxy before the eye.
float3 inSpace(Particle q, float time, constant Params& p) {
    float flat = 1.0 - 0.55 * p.arms * smoothstep(0.02, 0.16, q.radius);
    float2 x = q.radius * float2(cos(q.turn), flat * sin(q.turn));
    float lean = 12.0 * p.wind * pow(q.radius, 0.65) - 0.02 * time;
    x = float2(x.x * cos(lean) - x.y * sin(lean), x.x * sin(lean) + x.y * cos(lean));
    return float3(x.x, q.height, x.y);
}

float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    // The pointer moves the eye a little, and the eye sways by itself.
    float2 pointer = u.mouse / u.resolution - 0.5;
    float above = 1.45 - 1.3 * p.tilt - 0.5 * pointer.y + 0.05 * sin(0.11 * u.time);
    float around = 0.25 * sin(0.07 * u.time) + 0.6 * pointer.x;
    float3 x = inSpace(q, u.time, p);
    x = float3(x.x * cos(around) - x.z * sin(around), x.y, x.x * sin(around) + x.z * cos(around));
    x = float3(x.x, x.y * cos(above) + x.z * sin(above), x.z * cos(above) - x.y * sin(above));
    float near = 2.0 / (1.9 + x.z);
    // The disc lies a little askew in the picture.
    float2 at = near * float2(0.966 * x.x - 0.259 * x.y, 0.259 * x.x + 0.966 * x.y);
    at.x *= u.resolution.y / u.resolution.x;

    float size = 0.0022 + 0.0030 * p.size * (0.4 + q.kind * q.kind);
    if (q.kind < 0.04) size = 0.030 + 0.050 * p.size;
    if (q.kind > 0.996) size *= 3.0;
    return float3(at + 0.5, near * max(size, 1.6 / u.resolution.y));
}

float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {
    float soft = saturate(1.0 - dot(at, at));
    if (q.kind < 0.04) return float4(q.color * (0.06 * soft * soft), 0.0);
    float twinkle = 0.85 + 0.15 * sin(2.0 * u.time * (0.5 + q.kind) + 90.0 * q.turn);
    float bright = 0.30 + 1.1 * pow(q.kind, 12.0);
    return float4(q.color * (bright * twinkle * soft), 0.0);
}

float hash(float2 cell) {
    float3 n = fract(cell.xyx * 0.1031);
    n += dot(n, n.yzx + 33.33);
    return fract((n.x + n.y) * n.z);
}

// Behind the stars: the dark, other galaxies as far points, and the haze of the suns too small to be drawn.
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {
    float2 q = (uv - 0.5) * float2(u.resolution.x / u.resolution.y, 1.0);
    float2 cell = floor(q * 60.0);
    float n = hash(cell);
    float2 away = q * 60.0 - cell - 0.2 - 0.6 * float2(hash(cell + 41.0), hash(cell + 17.0));
    float far = pow(n, 9.0) * saturate(1.4 - length(away) * u.resolution.y / 60.0);

    float2 disc = float2(0.966 * q.x + 0.259 * q.y, 0.966 * q.y - 0.259 * q.x);
    disc.y *= 1.0 + 1.6 * p.tilt;
    disc *= 0.75;
    float r = length(disc);
    float3 old = mix(float3(1.0, 0.86, 0.70), float3(1.0, 0.60, 0.30), p.warmth);
    float3 haze = old * (0.9 * exp(-22.0 * r) + 0.30 * exp(-7.0 * r)) + float3(0.10, 0.13, 0.30) * exp(-4.2 * r);
    float3 light = trails.at(uv).rgb + haze + 0.5 * far * float3(0.8, 0.85, 1.0);
    float3 c = float3(0.006, 0.007, 0.016) + 1.0 - exp(-1.15 * light);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, float2(0.06711056, 0.00583715))));
    return float4(c + (grain - 0.5) / 255.0, 1.0);
}
