// The other side of the comparisons: GLSL through glslang, without its optimiser and without validation.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

enum class GlslStage { vertex, fragment, kernel };

// The whole fragment shader around a twin's shade(): the uniform block, the fresh constant, main().
std::string wholeFragment(const std::string& shade, float fresh);

// The vertex shader of the full-screen triangle.
std::string wholeVertex();

// Ends the program with the compiler's message when the text is not right.
std::vector<std::uint32_t> compileGlsl(GlslStage stage, const std::string& text);

} // namespace bench
