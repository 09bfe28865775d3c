// The twin of rings.metal.
#extension GL_EXT_shader_explicit_arithmetic_types_float16 : require
layout(set = 0, binding = 1, scalar) uniform ParameterBlock { float drive; } p;

f16vec3 pal(float16_t t, f16vec3 a, f16vec3 b, f16vec3 c, f16vec3 d) {
    return a + b * f16vec3(cos(vec3(6.28318hf * (c * t + d))));
}

vec4 shade(vec2 fragUV) {
    vec2 uv = (fragUV * u.resolution * 2.0 - u.resolution) / u.resolution.y, uv0 = uv;
    f16vec3 finalColor = f16vec3(0.0hf);
    for (float i = 0.0; i < 4.0; i++) {
        uv = fract(uv * 1.5) - 0.5;
        float d = length(uv) * exp(-length(uv0));
        f16vec3 col = pal(float16_t(length(uv0) + i * 0.4 + u.time * 0.4), f16vec3(0.5hf), f16vec3(0.5hf), f16vec3(1.0hf),
                          f16vec3(0.263hf, 0.416hf, 0.557hf));
        d = sin(d * 8.0 + u.time) / 8.0;
        d = abs(d);
        d = pow(0.01 / d, 1.2);
        finalColor += col * float16_t(d);
    }
    float masked = uintBitsToFloat(floatBitsToUint(uv0.x) & 0xffff0000u);
    finalColor.rg *= f16vec2(1.0hf, 0.9hf + 0.1hf * float16_t(masked));
    switch (u.frame % 4u) {
    case 0u:
    case 1u: finalColor.b *= 1.0hf;
    case 2u: finalColor.g += 0.0hf; break;
    default: { float16_t k = 1.0hf; finalColor *= k; }
    }
    return vec4(vec3(finalColor), 1.0);
}
