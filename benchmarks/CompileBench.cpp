// Shader text to SPIR-V: our compiler on the assembled Metal text (with the host's functions and the shader's sound),
// against glslang on the same picture written as tight GLSL, without optimiser and validation on either side. Both are
// timed in turn in one process, warm, each run with a constant that no run had before; the judged figure is the ratio
// of the medians. Exits 1 when one is over 1.
#include "GlassHobCore/ShaderAssembler.h"
#include "MSL/Compiler.h"
#include "benchmarks/Common.h"
#include "benchmarks/Glsl.h"

namespace {

constexpr int warmUps = 5;
constexpr int runs = 51;
constexpr double target = 1.0;

} // namespace

int main() {
    bool isGood = true;
    std::printf("text to SPIR-V, median of %d\n", runs);
    for (const bench::ShaderPair& pair : bench::shaderPairs()) {
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
        std::printf("%-12s ours %6.3f ms (%zu bytes)  glslang %6.3f ms  ratio %.3f  (target %.2f) %s\n", pair.name,
                    bench::median(ours), bytes, bench::median(theirs), ratio, target, passes ? "PASS" : "MISS");
    }
    return isGood ? 0 : 1;
}
