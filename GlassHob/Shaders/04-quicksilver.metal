// Quicksilver
//
// @still 5
//
// Drops that melt into one another. No triangles: a function tells how far the nearest surface is, and a ray from the
// eye walks forward by just that much, again and again, until it has arrived.

// @param speed 0.5 0.0 2.0 How fast the drops move
// @param melt 0.55 0.05 1.0 How eagerly they run together
// @param spread 0.4 0.0 1.0 How far they stray from one another
// @param film 0.6 0.0 1.0 Colours of a thin film on the surface
// @param warmth 0.5 0.0 1.0 From a cold room to a warm one
// @param turn 0.0 -3.0 3.0 Where we stand

constant int drops = 5;

struct Scene {
    float3 at[drops];
    float melt;
};

Scene makeScene(float time, constant Params& p) {
    Scene scene;
    scene.melt = 0.15 + 0.55 * p.melt;
    for (int i = 0; i < drops; i++) {
        float n = float(i);
        float3 pace = float3(0.61, 0.53, 0.47) + 0.07 * float3(n, 4.0 - n, n * 0.6);
        float3 path = sin(time * pace + float3(1.3, 2.1, 0.7) * n);
        scene.at[i] = path * float3(1.25, 0.7, 0.6) * (0.3 + p.spread);
    }
    return scene;
}

// The distance to the nearest drop. Two distances become one by a soft minimum: where they are alike, the surfaces
// reach out for each other.
float away(float3 x, thread const Scene& scene) {
    float d = 10.0;
    for (int i = 0; i < drops; i++) {
        float ball = distance(x, scene.at[i]) - (0.56 - 0.07 * float(i));
        float h = saturate(0.5 + 0.5 * (ball - d) / scene.melt);
        d = mix(ball, d, h) - scene.melt * h * (1.0 - h);
    }
    return d;
}

// The room that the drops mirror: a floor, a dim wall, a long lamp above and a window on either side.
float3 room(float3 way, float warmth) {
    float3 warm = mix(float3(0.55, 0.75, 1.0), float3(1.0, 0.58, 0.28), warmth);
    float3 cold = mix(float3(0.10, 0.22, 0.55), float3(0.16, 0.20, 0.62), warmth);
    float3 c = mix(float3(0.030, 0.025, 0.040), 0.16 * warm, smoothstep(0.1, -1.0, way.y));
    c += 0.25 * cold * smoothstep(-0.4, 0.9, way.y);
    c += 2.6 * warm * smoothstep(0.55, 0.95, way.y) * smoothstep(0.55, 0.1, abs(way.x + 0.25));
    c += 1.7 * cold * smoothstep(0.62, 0.95, -way.x) * smoothstep(0.75, 0.2, abs(way.y));
    c += 1.1 * warm * smoothstep(0.75, 0.98, way.x) * smoothstep(0.6, 0.1, abs(way.y - 0.1));
    return c;
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    float2 q = (uv - 0.5) * float2(u.resolution.x / u.resolution.y, 1.0);
    Scene scene = makeScene(u.time * p.speed, p);

    // The eye goes round the drops; every pixel looks in a slightly different direction.
    float angle = p.turn + 0.1 * u.time * p.speed;
    float3 ahead = float3(-sin(angle), 0.0, -cos(angle));
    float3 side = float3(cos(angle), 0.0, -sin(angle));
    float3 eye = -4.2 * ahead;
    float3 ray = normalize(1.9 * ahead + q.x * side + float3(0.0, q.y, 0.0));
    float pixel = 0.55 / u.resolution.y; // half a pixel's width, one step away from the eye

    // Walk. A ray that only brushes a drop remembers where it was closest: it covers that pixel in part.
    float t = 2.2;
    float closest = 1.0;
    float reached = t;
    for (int i = 0; i < 40; i++) {
        float d = away(eye + t * ray, scene);
        float miss = d / (t * pixel);
        if (miss < closest || i == 0) {
            closest = miss;
            reached = t;
        }
        if (miss < 0.2 || t > 6.4) break;
        t += d;
    }
    float covered = saturate(1.1 - closest * 0.55);

    // The surface faces the way in which the distance grows fastest.
    float3 x = eye + reached * ray;
    float3 n = float3(0.0);
    for (int i = 0; i < 4; i++) {
        float3 corner = float3(float(i == 1 || i == 3), float(i >= 2), float(i == 1 || i == 2)) * 2.0 - 1.0;
        n += corner * away(x + 0.004 * corner, scene);
    }
    n = normalize(n);

    // Between two drops it is darker: step away from the surface and see whether there is something else.
    float open = saturate(0.35 + 1.3 * away(x + 0.5 * n, scene));

    // A thin film: light thrown back by its two faces meets itself, and each colour likes another thickness.
    float facing = saturate(-dot(ray, n));
    float thick = 1.3 + 0.8 * n.y + 0.5 * sin(2.0 * x.x + 1.5 * x.y + 0.3 * u.time);
    float3 tint = 0.5 + 0.5 * cos(6.2831853 * (thick * (0.4 + 0.6 * facing) + float3(0.0, 0.33, 0.67)));
    float edge = pow(1.0 - facing, 4.0);
    float3 mirror = mix(float3(0.86, 0.88, 0.92), 0.25 + 1.1 * tint, p.film * (1.0 - 0.6 * edge));
    float3 c = room(reflect(ray, n), p.warmth) * mirror * open * (0.9 + 0.6 * edge);
    c += 0.05 * tint * p.film * open;

    // Behind them, the far wall with the glow of a lamp.
    float2 lamp = q - float2(0.28, 0.22);
    float glow = exp(-2.6 * dot(lamp, lamp)) * (0.3 + 0.9 * p.warmth);
    float3 wall = mix(float3(0.010, 0.012, 0.030), float3(0.20, 0.055, 0.030), glow);
    c = mix(wall, c, covered);

    // From light to screen: bright light is rolled off gently, and the square root stands for the screen's own curve.
    c = c / (1.0 + 0.45 * c);
    float grain = fract(52.9829189 * fract(dot(uv * u.resolution, float2(0.06711056, 0.00583715))));
    return float4(sqrt(c) + (grain - 0.5) / 255.0, 1.0);
}
