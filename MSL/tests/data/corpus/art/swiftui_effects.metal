//
//  Effects.metal
//
#include <metal_stdlib>
#include <metal_stdlib>
using namespace metal;
using namespace metal;

[[ stitchable ]] half4 checkerboard(float2 position, half4 currentColor, float size, half4 newColor) {
    uint2 posInChecks = uint2(position.x / size, position.y / size);
    bool isColor = (posInChecks.x ^ posInChecks.y) & 1;
    return isColor ? newColor * currentColor.a : half4(0.0, 0.0, 0.0, 0.0);
}

[[stitchable]] float2 wave(float2 position, float time, float2 size) {
    float2 uv = position / size;
    position.y += sin(time + uv.x * 10) * 8;
    return position;
}

[[ stitchable ]] half4 rainbow(float2 position, half4 color, float time) {
    float angle = atan2(position.y, position.x) + time;
    return half4(sin(angle), sin(angle + 2), sin(angle + 4), color.a);
}

[[ stitchable ]] half4 noise(float2 position, half4 currentColor, float time) {
    float value = fract(sin(dot(position + time, float2(12.9898, 78.233))) * 43758.5453);
    return half4(value, value, value, 1) * currentColor.a;
}

half4 mod(half4 a, half4 b) { return a - b * floor(a / b); }
float mod(float a, float b) { return a - b * floor(a / b); }
float length(float x) { return abs(x); }
float2x2 rotate(float a) { float s = sin(a), c = cos(a); return float2x2(c, -s, s, c); }

[[ stitchable ]] half4 gradient(float2 position, half4 color, float4 bounds, device const half4 *colors, int count) {
    float t = mod(position.x / bounds.z + length(position.y), 1.);
    int i = int(t * float(count - 1));
    return mix(colors[i], colors[min(i + 1, count - 1)], half(fract(t * (count - 1))));
}

// What the preview of the effects runs
fragment half4 preview(float4 position [[position]], constant float &time [[buffer(0)]], device const half4 *palette [[buffer(1)]]) {
    float2 p = wave(position.xy, time, float2(320, 200));
    p = rotate(time) * p;
    half4 c = checkerboard(p, half4(1), 20, half4(0.2h, 0.4h, 0.8h, 1));
    c += rainbow(p, c, time) * 0.5;
    c = max(c, noise(p, c, time));
    return c + gradient(p, c, float4(0, 0, 320, 200), palette, 4);
}
