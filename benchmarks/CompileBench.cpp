// Shader text to SPIR-V: our compiler on the assembled Metal text (with the host's functions and the shader's sound),
// against glslang on the same picture written as tight GLSL, without optimiser and validation on either side. Both are
// timed in turn in one process, warm, each run with a constant that no run had before; the judged figure is the ratio
// of the medians. Then generated texts of 100, 1,000 and 10,000 lines: the time must grow with the length and no
// faster. Exits 1 when a target is missed.
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "MSL/Compiler.h"
#include "benchmarks/Common.h"
#include "benchmarks/Glsl.h"
#include "benchmarks/LongSource.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int warmUps = 5;
constexpr int runs = 51;
constexpr double target = 0.45;
// Of a long text's time for a line, to that of a text a tenth as long. What is more than 1 is left to the caches, which
// hold all that a thousand lines need and not what ten thousand do; work that grows with the square would give 10.
constexpr double lineTarget = 1.5;

// The shortest time for one line of a generated text, in microseconds: what disturbs a run only makes it longer.
double microsecondsPerLine(int lines, int times) {
    const std::string text = bench::longSource(lines);
    std::vector<double> each;
    std::size_t bytes = 0;
    for (int run = -2; run < times; ++run) {
        const double taken = bench::milliseconds([&] {
            const auto compiled = msl::compile(text);
            if (!compiled) {
                std::fprintf(stderr, "%d lines: %s\n", lines, compiled.error().text.c_str());
                std::exit(2);
            }
            bytes = compiled->spirv.size() * 4;
        });
        if (run >= 0) each.push_back(taken);
    }
    const double written = double(std::ranges::count(text, '\n'));
    const double perLine = std::ranges::min(each) * 1000 / written;
    std::printf("%6.0f lines  %7.3f ms  (%zu bytes)  %.3f us a line", written, std::ranges::min(each), bytes, perLine);
    return perLine;
}

bool isLinear() {
    bool isGood = true;
    double before = 0;
    for (const auto& [lines, times] : {std::pair(100, 101), {1'000, 41}, {10'000, 11}}) {
        const double now = microsecondsPerLine(lines, times);
        const bool passes = before == 0 || now / before <= lineTarget;
        if (before == 0)
            std::printf("\n");
        else
            std::printf("  ratio %.3f  (target %.2f) %s\n", now / before, lineTarget, passes ? "PASS" : "MISS");
        isGood = isGood && passes;
        before = now;
    }
    return isGood;
}

} // namespace

int main() {
    bool isGood = isLinear();
    std::printf("text to SPIR-V, median of %d\n", runs);
    std::vector<bench::ShaderPair> pairs = bench::shaderPairs();
    std::ranges::move(bench::stagedPairs(), std::back_inserter(pairs));
    for (const bench::ShaderPair& pair : pairs) {
        std::vector<double> ours;
        std::vector<double> theirs;
        std::size_t bytes = 0;
        for (int run = -warmUps; run < runs; ++run) {
            const float fresh = float(run + warmUps + 1) * 1e-6F;
            const glasshob::AssembledShader assembled =
                glasshob::ShaderAssembler::assemble(bench::withFreshConstant(pair.metal, fresh));
            const std::string glsl = bench::wholeFragment(pair.glsl, fresh);
            const double mine = bench::milliseconds([&] {
                const auto compiled = msl::compile(assembled.source);
                if (!compiled) {
                    std::fprintf(stderr, "%s: %s\n", pair.name, compiled.error().text.c_str());
                    std::exit(2);
                }
                bytes = compiled->spirv.size() * 4;
            });
            const double other = bench::milliseconds([&] { bench::compileGlsl(bench::GlslStage::fragment, glsl); });
            if (run >= 0) {
                ours.push_back(mine);
                theirs.push_back(other);
            }
        }
        const double ratio = bench::median(ours) / bench::median(theirs);
        const bool passes = ratio <= target;
        isGood = isGood && passes;
        std::printf("%-15s ours %6.3f ms (%zu bytes)  glslang %6.3f ms  ratio %.3f  (target %.2f) %s\n", pair.name,
                    bench::median(ours), bytes, bench::median(theirs), ratio, target, passes ? "PASS" : "MISS");
    }
    return isGood ? 0 : 1;
}
