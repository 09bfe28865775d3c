// What the benchmarks share: the three shaders in both languages, fresh constants, timing.
#pragma once

#include "GlassHobCore/ShaderFile.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace bench {

struct ShaderPair {
    const char* name;
    std::string metal; // the user's text
    std::string glsl;  // its twin's shade()
};

inline std::string readText(const std::string& path) {
    auto text = glasshob::ShaderFile::read(path);
    if (!text) {
        std::fprintf(stderr, "%s\n", text.error().sentence.c_str());
        std::exit(2);
    }
    return *text;
}

inline std::array<ShaderPair, 3> shaderPairs() {
    const std::string folder = BENCH_SHADERS "/";
    return {{{"sample", readText(SAMPLE_SHADERS "/01-flowing-color.metal"), readText(folder + "sample.glsl")},
             {"noise", readText(folder + "noise.metal"), readText(folder + "noise.glsl")},
             {"raymarcher", readText(folder + "raymarcher.metal"), readText(folder + "raymarcher.glsl")}}};
}

// The user's shade() behind one that shifts the picture by the fresh constant, so that no compile was seen before.
inline std::string withFreshConstant(std::string source, float fresh) {
    const std::string from = "float4 shade(";
    source.replace(source.find(from), from.size(), "float4 drawn(");
    char number[32];
    std::snprintf(number, sizeof number, "%.9e", double(fresh));
    return source + "\nfloat4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return drawn(uv + " +
           number + ", u, p); }\n";
}

inline double milliseconds(const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

} // namespace bench
