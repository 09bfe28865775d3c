// Open Sea
//
// @grid 88
// @still 6
//
// A net of squares, pulled tight near the eye and wide at the horizon, and lifted by waves. corner() says where each
// corner of the net is; shade() gives every pixel between them its light, and background() paints the sky behind.

// @param wind 0.5 0.0 1.0 How high the waves are
// @param speed 0.6 0.0 2.0 How fast they run
// @param evening 0.8 0.0 1.0 From noon to the setting sun
// @param glitter 0.6 0.0 1.0 The sun's road on the water
// @param haze 0.5 0.0 1.0 How soon the distance turns to air
// @param volume 0.5 0.0 1.0 Loudness of the surf

constant float eyeHeight = 1.5;
constant float lens = 1.35;
constant float farthest = 90.0;

struct Vertex {
    float4 position [[position]];
    float3 at; // in metres: to the right, up, ahead
};

// Waves, each with a direction, a length and a height, every one shorter than the one before. A wave is made of
// parabolas: much like a sine, but its slope is a simple line. Squared it has narrow crests and wide valleys, as water
// has. Returns the height and its slope to the right and ahead.
float3 sea(float2 x, float far, int waves, float time, constant Params& p) {
    float3 sum = float3(0.0);
    float2 way = float2(0.34, -0.94);
    float length = 8.2;
    float height = 0.50 * p.wind + 0.03;
    for (int i = 0; i < waves; i++) {
        // A wave shorter than a few pixels would only flicker: it is left out in the distance.
        float kept = saturate(1.8 * length / (0.0038 * far * far + 0.1) - 0.4) * height;
        float t = 2.0 * fract((dot(x, way) + 1.25 * sqrt(length) * time) / length) - 1.0;
        float crest = 0.5 + 2.0 * t * (1.0 - abs(t));
        float slope = 4.0 * (1.0 - 2.0 * abs(t)) / length;
        sum += kept * float3(crest * crest - 0.38, 2.0 * crest * slope * way);
        // The next wave rides on this one and is crowded together where this one rises.
        x += (0.30 * length * height * slope) * way;
        way = float2(-0.48 * way.x - 0.88 * way.y, 0.88 * way.x - 0.48 * way.y);
        way.y = -abs(way.y);
        length *= 0.66;
        height *= 0.60;
    }
    return sum;
}

float3 sunWay(constant Params& p) { return normalize(float3(0.18, mix(0.55, 0.05, p.evening), 1.0)); }

float3 sunColor(constant Params& p) { return mix(float3(1.0, 0.95, 0.85), float3(1.0, 0.52, 0.20), p.evening); }

// The light that comes from a direction of the sky. The sea mirrors it, the background shows it.
float3 sky(float3 way, constant Params& p) {
    float up = max(way.y, 0.0);
    float3 low = mix(float3(0.68, 0.80, 0.92), float3(1.00, 0.50, 0.24), p.evening);
    float3 high = mix(float3(0.10, 0.30, 0.68), float3(0.07, 0.12, 0.32), p.evening);
    float3 c = mix(low, high, 1.0 - exp(-mix(4.0, 5.0, p.evening) * up));
    float sun = saturate(dot(way, sunWay(p)));
    float glow = 0.5 * pow(sun, 12.0) + 0.7 * pow(sun, 90.0);
    return c + sunColor(p) * glow * (0.35 + 0.65 * p.evening);
}

Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    // Equal steps over the picture are ever longer steps over the sea.
    float ahead = eyeHeight * 0.9 / (1.001 - grid.y) - 0.2;
    ahead = min(ahead, farthest + 400.0 * smoothstep(0.97, 1.0, grid.y));
    float aspect = u.resolution.x / u.resolution.y;
    float2 x = float2((grid.x - 0.5) * 2.2 * (ahead + 2.0) * aspect / lens, ahead);
    float2 travelled = x + float2(0.0, 0.35 * u.time * p.speed);
    float3 wave = sea(travelled, ahead, 5, u.time * p.speed, p);

    Vertex v;
    v.at = float3(x.x, wave.x, x.y);
    float rise = 0.12 * (u.mouse.y / u.resolution.y - 0.5);
    float y = (wave.x - eyeHeight) * lens + (0.22 + rise) * ahead;
    v.position = float4(v.at.x * lens / aspect, y, ahead * 0.999 - 0.1, ahead);
    return v;
}

float4 shade(Vertex v, constant Uniforms& u, constant Params& p) {
    float far = v.at.z;
    float2 x = v.at.xz + float2(0.0, 0.35 * u.time * p.speed);
    float3 wave = sea(x, far, 10, u.time * p.speed, p);
    float3 n = normalize(float3(-wave.y, 1.0, -wave.z));
    float3 eye = normalize(float3(v.at.x, v.at.y - eyeHeight, far));

    // Seen flat, water is a mirror; seen steeply, it shows its own colour.
    float3 mirrored = reflect(eye, n);
    mirrored.y = abs(mirrored.y);
    float grazing = 0.03 + 0.97 * pow(1.0 - saturate(-dot(eye, n)), 5.0);
    float3 deep = mix(float3(0.004, 0.075, 0.115), float3(0.008, 0.030, 0.055), p.evening);
    float3 through = mix(float3(0.03, 0.30, 0.30), float3(0.12, 0.16, 0.14), p.evening);
    float3 body = deep + through * saturate(0.25 + 1.4 * wave.x) * (0.5 + 0.5 * saturate(dot(eye, sunWay(p))));
    float3 c = mix(body, sky(mirrored, p), saturate(grazing));

    // Each small slope that throws the sun's picture to the eye is a spark.
    // Far out they are too small to be seen one by one, and the road grows broad and soft.
    float sharp = 260.0 / (1.0 + 0.06 * far);
    float spark = pow(saturate(dot(mirrored, sunWay(p))), sharp);
    c += sunColor(p) * (p.glitter * spark * (1.5 + 0.025 * sharp));

    float3 level = normalize(float3(eye.x, 0.0, eye.z));
    c = mix(c, sky(level, p), 1.0 - exp(-far * far * (0.00012 + 0.0009 * p.haze)));
    return float4(sqrt(1.0 - exp(-1.3 * c * c)), 1.0);
}

float4 background(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = (2.0 * uv - 1.0) * float2(u.resolution.x / u.resolution.y, 1.0);
    float rise = 0.12 * (u.mouse.y / u.resolution.y - 0.5);
    float3 way = normalize(float3(q.x, q.y - 0.22 - rise, lens));
    float3 c = sky(way, p);
    float disc = length(way - sunWay(p)) - 0.035;
    c += sunColor(p) * 2.0 * saturate(0.5 - disc * u.resolution.y * 0.5 * lens);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, float2(0.06711056, 0.00583715))));
    return float4(sqrt(1.0 - exp(-1.3 * c * c)) + (grain - 0.5) / 255.0, 1.0);
}

// ---- The sound: surf. Noise is a random number for every moment; joined by curves it is soft, and the fewer numbers a
// second, the deeper it is. -------------------------------------------------------------------------------------------

float random(int n) {
    uint h = uint(n) * 747796405u + 2891336453u;
    h = ((h >> ((h >> 28) + 4u)) ^ h) * 277803737u;
    return float((h >> 22) ^ h) * 4.6566129e-10 - 1.0;
}

float noise(float t, float pitch, int voice) {
    float x = t * pitch;
    float i = floor(x);
    int n = int(i) + voice * 7919;
    return mix(random(n), random(n + 1), smoothstep(0.0, 1.0, x - i));
}

// A wave comes in: a deep murmur that swells, then the hiss of the foam running out.
float2 surf(float t, float period, float delay, float side, int voice) {
    float x = fract(t / period + delay);
    float swell = smoothstep(0.0, 0.42, x) * smoothstep(1.0, 0.42, x);
    float foam = smoothstep(0.30, 0.46, x) * smoothstep(1.0, 0.46, x);
    float deep = noise(t, 160.0, voice) + 0.7 * noise(t, 420.0, voice + 1);
    float hiss = noise(t, 2600.0, voice + 2) + 0.6 * noise(t, 7000.0, voice + 3);
    float sum = 0.5 * swell * swell * deep + 0.28 * foam * foam * hiss;
    return sum * float2(1.0 - side, side);
}

float2 sound(float t, constant Params& p) {
    float2 sum = surf(t, 9.7, 0.0, 0.35, 0) + surf(t, 12.9, 0.4, 0.7, 10) + 0.7 * surf(t, 7.3, 0.7, 0.45, 20);
    float2 wind = 0.10 * (0.6 + 0.4 * sin(0.31 * t)) * float2(noise(t, 700.0, 40), noise(t, 700.0, 50));
    return p.volume * (0.6 + 0.5 * p.wind) * smoothstep(0.0, 1.5, t) * (0.55 * sum + p.wind * wind);
}
