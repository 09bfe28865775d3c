// A shader of as many lines as asked, of the kind that people write: hash functions, noise, shapes, palettes, structs
// and a loop here and there, every function called from one fragment function, so that all of it is compiled.
#pragma once

#include <string>
#include <string_view>

namespace bench {

// @ is the number of the block.
inline constexpr std::string_view longSourceBlock = R"(
// ---- layer @
struct Layer@ {
    float2 offset;
    float scale;
    float3 tint;
};

float hash@(float2 p) {
    p = fract(p * float2(123.34, 345.45) + @.0);
    p += dot(p, p + 34.345);
    return fract(p.x * p.y);
}

float noise@(float2 p) {
    const float2 i = floor(p), f = fract(p);
    const float2 u = f * f * (3.0 - 2.0 * f);
    return mix(mix(hash@(i), hash@(i + float2(1, 0)), u.x),
               mix(hash@(i + float2(0, 1)), hash@(i + float2(1, 1)), u.x), u.y);
}

float shape@(float2 p, constant Settings& s) {
    float sum = 0.0, amplitude = 0.5;
    for (int i = 0; i < 4; ++i) {
        sum += amplitude * noise@(p);
        p = float2x2(0.8, 0.6, -0.6, 0.8) * p * 2.02 + s.offset;
        amplitude *= s.gain;
    }
    if (sum > 0.75 && s.mode == @) {
        sum = 1.5 - sum;
    } else if (sum < 0.1) {
        return 0.0;
    }
    return sum;
}

float3 layer@(float2 uv, constant Settings& s) {
    Layer@ layer = { s.offset * @.0, 1.0 + 0.01 * s.time, float3(0.2, 0.5, 0.8) };
    const float v = shape@(uv * layer.scale + layer.offset, s);
    float3 colour = 0.5 + 0.5 * cos(6.28318 * (v * layer.tint + float3(0.0, 0.33, 0.67)));
    colour *= smoothstep(0.0, 0.2, v) * (1.0 - length(uv) * 0.1);
    return max(colour, 0.0);
}
)";

inline std::string longSource(int lines) {
    std::string text = "#include <metal_stdlib>\nusing namespace metal;\n"
                       "struct Settings { float2 offset; float time; float gain; int mode; };\n";
    std::string calls;
    int written = 10;
    for (int block = 1; written < lines; ++block) {
        const std::string number = std::to_string(block);
        for (const char c : longSourceBlock) {
            written += c == '\n' ? 1 : 0;
            if (c == '@')
                text += number;
            else
                text += c;
        }
        calls += "    colour += layer" + number + "(uv, s);\n";
        ++written;
    }
    return text + "\nfragment float4 whole(float4 at [[position]], constant Settings& s [[buffer(0)]]) {\n" +
           "    const float2 uv = at.xy * 0.001;\n    float3 colour = 0.0;\n" + calls +
           "    return float4(colour, 1.0);\n}\n";
}

} // namespace bench
