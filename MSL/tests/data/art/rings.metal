// halfs, lambdas not; unions for bits; swizzle compound; switch fall through; sound with arrays
// @param drive 2 1 10 Drive
union Bits { float f; uint u; };
half3 pal(half t, half3 a, half3 b, half3 c, half3 d) { return a + b*cos( 6.28318h*(c*t+d) ); }
float4 shade(float2 fragUV, constant Uniforms& u, constant Params& p) {
    float2 uv = (fragUV * u.resolution * 2.0 - u.resolution) / u.resolution.y, uv0 = uv;
    half3 finalColor = half3(0.0h);
    for (float i = 0.0; i < 4.0; i++) {
        uv = fract(uv * 1.5) - 0.5;
        float d = length(uv) * exp(-length(uv0));
        half3 col = pal(half(length(uv0) + i*.4 + u.time*.4), half3(0.5), half3(0.5), half3(1.0), half3(0.263,0.416,0.557));
        d = sin(d*8. + u.time)/8.; d = abs(d); d = pow(0.01 / d, 1.2);
        finalColor += col * half(d);
    }
    Bits b; b.f = uv0.x; b.u &= 0xffff0000u;
    finalColor.rg *= half2(1.0h, 0.9h + 0.1h * half(b.f));
    switch (u.frame % 4) { case 0: case 1: finalColor.b *= 1.0h; case 2: finalColor.g += 0.0h; break; default: { half k = 1; finalColor *= k; } }
    return float4(float3(finalColor), 1.0);
}
float saw(float x) { return 2.0 * fract(x) - 1.0; }
float2 sound(float t, constant Params& p)
{
    const float notes[] = { 0, 3, 7, 10, 12, 10, 7, 3 };
    int i = int(t * 6.0) % 8;
    float f = 55.0 * pow(2.0, notes[i] / 12.0);
    float2 o = 0;
    for (int k = 0; k < 3; ++k) o += float2(saw(t * f * (1.0 + 0.003 * k)), saw(t * f * (1.0 - 0.003 * k)));
    return tanh(o * p.drive * 0.3) * exp(-3.0 * fract(t * 6.0)) * 0.4;
}
