// What the benchmarks share: the shaders in both languages, fresh constants, timing.
#pragma once

#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobCore/shader/ShaderAssembler.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace bench {

struct ShaderPair {
    const char* name;
    std::string metal; // the user's text
    std::string glsl;  // its twin's shade()
    bool isChecked;    // it indexes a table by a value that nothing bounds, and pays for the check; the twin does not
};

// Each line as it is there, also into a pipe.
inline const bool printsLines = std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ) == 0;

inline std::string readText(const std::string& path) {
    auto text = glasshob::ShaderFile::read(path);
    if (!text) {
        std::fprintf(stderr, "%s\n", text.error().sentence.c_str());
        std::exit(2);
    }
    return *text;
}

struct ShaderRow {
    const char* name;
    const char* folder;
    const char* file;
    bool isChecked = false;
};

template <std::size_t count>
std::vector<ShaderPair> readPairs(const ShaderRow (&rows)[count]) {
    std::vector<ShaderPair> pairs;
    for (const ShaderRow& row : rows)
        pairs.push_back({row.name, readText(std::string(row.folder) + "/" + row.file + ".metal"),
                         readText(std::string(BENCH_SHADERS "/") + row.name + ".glsl"), row.isChecked});
    return pairs;
}

// Per-pixel shaders: the sample first, then the noise.
inline std::vector<ShaderPair> shaderPairs() {
    static constexpr ShaderRow rows[] = {
        {"sample", SAMPLE_SHADERS, "01-flowing-color"},
        {"noise", BENCH_SHADERS, "noise"},
        {"raymarcher", BENCH_SHADERS, "raymarcher"},
        {"mandelbrot", COMPILER_SHADERS, "mandelbrot"},
        {"metaballs", COMPILER_SHADERS, "metaballs", true},
        {"box", COMPILER_SHADERS, "box"},
        {"truchet", COMPILER_SHADERS, "truchet"},
        {"voronoi", COMPILER_SHADERS, "voronoi"},
        {"rings", COMPILER_SHADERS, "rings"},
        {"tunnel", COMPILER_SHADERS, "tunnel", true},
        {"blue-hour", SAMPLE_SHADERS, "02-blue-hour"},
        {"sunlit-glass", SAMPLE_SHADERS, "03-sunlit-glass"},
        {"quicksilver", SAMPLE_SHADERS, "04-quicksilver"},
    };
    return readPairs(rows);
}

// The samples of several stages. A twin has all their functions in one text: to compile, not to draw.
inline std::vector<ShaderPair> stagedPairs() {
    static constexpr ShaderRow rows[] = {
        {"silk", SAMPLE_SHADERS, "05-silk"},
        {"island-of-stars", SAMPLE_SHADERS, "06-island-of-stars"},
        {"open-sea", SAMPLE_SHADERS, "07-open-sea"},
        {"breathing-knot", SAMPLE_SHADERS, "08-breathing-knot"},
    };
    return readPairs(rows);
}

// A per-pixel shader's shade() behind one that shifts the picture by the fresh constant, so that no compile was seen
// before. The other kinds just hold the constant.
inline std::string withFreshConstant(std::string source, float fresh) {
    char number[32];
    std::snprintf(number, sizeof number, "%.9e", double(fresh));
    if (glasshob::ShaderAssembler::kind(source) != glasshob::ShaderKind::fragment)
        return source + "\nconstant float fresh = " + number + ";\n";
    const std::string from = "float4 shade(";
    source.replace(source.find(from), from.size(), "float4 drawn(");
    return source + "\nfloat4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return drawn(uv + " +
           number + ", u, p); }\n";
}

inline double milliseconds(const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// The processor time of all threads of this process. On a CPU device it is the work itself, whatever else the machine
// does meanwhile; it does not see waiting.
inline double processorMilliseconds(const auto& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return double(time.tv_sec) * 1e3 + double(time.tv_nsec) * 1e-6;
    };
    const double start = now();
    work();
    return now() - start;
}

inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

// Two ways of the same work, so many times one after the other, each first in every other pair, so that a machine that
// slows down slows both. `ratios` are those of ours to theirs in each pair.
struct Pairs {
    std::vector<double> ours, theirs, ratios;
};
Pairs inPairs(int count, const auto& ourTime, const auto& theirTime) {
    Pairs pairs;
    for (int pair = 0; pair < count; ++pair) {
        const bool isOursFirst = pair % 2 == 0;
        const double first = isOursFirst ? ourTime() : theirTime();
        const double second = isOursFirst ? theirTime() : ourTime();
        pairs.ours.push_back(isOursFirst ? first : second);
        pairs.theirs.push_back(isOursFirst ? second : first);
        pairs.ratios.push_back(pairs.ours.back() / pairs.theirs.back());
    }
    return pairs;
}

} // namespace bench
