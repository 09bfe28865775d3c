// Flowing Colour
//
// @still 30
//
// Two slow currents fold the plane over and over; where a point ends up decides its colour.
// shade() runs once for every pixel: uv runs 0...1 from the bottom left, u.time is in seconds, and u.mouse is the
// pointer in pixels. Each @param line becomes a slider and a member of p: // @param name default min max description

// @param flow 0.5 0.0 2.0 How fast the currents run
// @param scale 1.5 0.5 4.0 How much of the stream the picture shows
// @param bend 0.75 0.0 1.5 How strongly the currents fold into one another
// @param warmth 0.5 0.0 1.0 From deep water to ember light
// @param glow 0.5 0.0 1.0 Light along the crests
// @param volume 0.4 0.0 1.0 Loudness of the sound

// A wave like sin(), one turn for every step of 1, made of parabolas: it looks the same and costs a quarter.
float2 wave(float2 x) {
    float2 t = 2.0 * fract(x) - 1.0;
    float2 y = 4.0 * t * (1.0 - abs(t));
    return y * (0.775 + 0.225 * abs(y));
}

// The colours from cold to hot: night, deep teal, violet, ember, gold, light.
float3 ramp(float x) {
    float3 c = mix(float3(0.012, 0.030, 0.055), float3(0.010, 0.240, 0.290), smoothstep(0.00, 0.28, x));
    c = mix(c, float3(0.20, 0.07, 0.30), smoothstep(0.22, 0.46, x));
    c = mix(c, float3(0.78, 0.17, 0.10), smoothstep(0.40, 0.66, x));
    c = mix(c, float3(1.00, 0.60, 0.18), smoothstep(0.62, 0.88, x));
    return mix(c, float3(1.00, 0.90, 0.66), smoothstep(0.86, 1.06, x));
}

float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    // Centre the plane and make it as wide as the picture is, so that nothing is stretched.
    float2 shape = float2(u.resolution.x / u.resolution.y, 1.0);
    float2 q = (uv - 0.5) * shape;
    float edge = dot(q, q);

    // The pointer is a smooth stone in the stream: what flows near it is drawn a little larger.
    float2 away = q - (u.mouse / u.resolution - 0.5) * shape;
    q = p.scale * (q - away * 0.035 / (0.09 + dot(away, away)));

    // Four times: push every point along a wave of the other coordinate, then turn the plane and use a finer wave.
    float t = u.time * p.flow * 0.12;
    float2 drift = float2(t, -0.8 * t);
    float2 push = float2(0.0);
    float size = 0.46 * p.bend;
    float fineness = 0.5;
    for (int i = 0; i < 4; i++) {
        push = wave(q.yx * fineness + drift);
        q += size * push;
        q = float2(0.8 * q.x - 0.6 * q.y, 0.6 * q.x + 0.8 * q.y);
        drift = float2(0.37 - 1.1 * drift.y, 0.19 + 1.1 * drift.x);
        fineness *= 1.4;
        size *= 0.68;
    }

    // One wave across the folded plane gives the heat, a second one the crests that catch the light.
    float2 h = wave(float2(0.55 * q.x + 0.25 * t, 0.8 * (q.x + q.y)));
    float heat = saturate(0.47 + 0.34 * h.x + 0.16 * h.y * push.x + 0.4 * (p.warmth - 0.5));
    float crest = 1.0 - abs(h.y);
    crest *= crest;
    crest *= crest;

    float3 c = ramp(heat);
    c += float3(1.0, 0.55, 0.25) * (0.4 * p.glow * crest * heat);
    c *= 1.0 - 0.35 * edge;

    // Half a step of fine noise, so that the dark slopes show no bands on an 8-bit screen.
    float2 pixel = uv * u.resolution;
    float grain = fract(52.9829189 * fract(dot(pixel, float2(0.06711056, 0.00583715))));
    return float4(c + (grain - 0.5) / 255.0, 1.0);
}

// ---- The sound -----------------------------------------------------------------------------------------------------
// sound() gives the left and right sample at time t. It remembers nothing, so every note is found again from t: which
// notes can be heard now, how long ago each began, and how loud it is after that time.

constant float tau = 6.2831853;
constant float chordTime = 8.0;
constant float stepTime = 0.5;

// Four chords of four notes, in cycles per second: A minor, F, C and G, each with a note that leads to the next.
constant float4 chords[4] = {
    float4(110.00, 164.81, 196.00, 261.63), float4(87.31, 174.61, 220.00, 329.63),
    float4(130.81, 196.00, 246.94, 329.63), float4(98.00, 146.83, 246.94, 293.66)
};

// A round tone: the note, a little of the one an octave above, and no edge.
float voice(float cycles) { return sin(tau * cycles) + 0.22 * sin(2.0 * tau * cycles); }

// Each chord swells and fades over twice its time, so that the next one is always already there.
float2 pad(float t) {
    float2 sum = float2(0.0);
    int now = int(floor(t / chordTime));
    for (int back = 0; back < 2; back++) {
        float age = t - float(now - back) * chordTime;
        float swell = sin(0.5 * tau * age / (2.0 * chordTime));
        float4 chord = chords[(now - back) & 3];
        for (int i = 0; i < 4; i++) {
            // The ears hear the note slightly apart, and that makes it wide.
            float cycles = chord[i] * age;
            sum += swell * swell * float2(voice(cycles * 0.9988), voice(cycles * 1.0012));
        }
    }
    return sum * 0.12;
}

// A slow walk up and down the chord; a note is struck twice a second and rings for three.
float2 walk(float t) {
    float2 sum = float2(0.0);
    int now = int(floor(t / stepTime));
    for (int back = 0; back < 6; back++) {
        int n = now - back;
        if (n < 0) break;
        float age = t - float(n) * stepTime;
        float4 chord = chords[int(float(n) * stepTime / chordTime) & 3];
        float loud = smoothstep(0.0, 0.03, age) * exp(-2.2 * age) * (1.0 - age / 3.0);
        float side = 0.5 + 0.35 * sin(1.9 * float(n));
        sum += loud * voice(2.0 * chord[(n * 3 + n / 4) & 3] * age) * float2(side, 1.0 - side);
    }
    return sum * 0.3;
}

float2 sound(float t, constant Params& p) {
    float opening = smoothstep(0.0, 3.0, t);
    return p.volume * opening * (pad(t) + walk(t));
}
