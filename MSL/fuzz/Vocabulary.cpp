#include "MSL/fuzz/Vocabulary.h"

#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lex/Identifier.h"
#include "MSL/lex/Token.h"
#include "MSL/sema/LibraryConstants.h"

#include <vector>

namespace msl::fuzz {

std::span<const std::string> keywords() {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> out;
        Arena arena;
        for (const Identifier* identifier : IdentifierTable(arena).all())
            if (identifier->keyword != 0) out.emplace_back(identifier->text);
        for (auto kind = static_cast<unsigned>(TokenKind::leftParen); kind < static_cast<unsigned>(firstKeyword);
             ++kind)
            out.emplace_back(punctuation(static_cast<TokenKind>(kind)));
        return out;
    }();
    return words;
}

std::span<const std::string> types() {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> out = {"void", "auto", "sampler", "size_t", "uint32_t", "int64_t"};
        for (const char* scalar :
             {"float", "half", "bfloat", "int", "uint", "bool", "short", "ushort", "char", "uchar", "long", "ulong"}) {
            out.emplace_back(scalar);
            for (const char* size : {"2", "3", "4"}) {
                out.push_back(std::string(scalar) + size);
                out.push_back("packed_" + std::string(scalar) + size);
                out.push_back("vec<" + std::string(scalar) + ", " + size + ">");
            }
            out.push_back("array<" + std::string(scalar) + ", 4>");
        }
        for (const char* scalar : {"float", "half"})
            for (const char* columns : {"2", "3", "4"})
                for (const char* rows : {"2", "3", "4"})
                    out.push_back(std::string(scalar) + columns + "x" + rows);
        for (const char* atomic : {"atomic_int", "atomic_uint", "atomic_bool", "atomic_float", "atomic_ulong"})
            out.emplace_back(atomic);
        for (const char* shape : {"1d", "1d_array", "2d", "2d_array", "3d", "cube", "cube_array", "2d_ms"})
            for (const char* component : {"float", "half", "uint", "int"}) {
                const std::string name = "texture" + std::string(shape) + "<" + component;
                out.push_back(name + ">");
                out.push_back(name + ", access::read_write>");
                out.push_back(name + ", access::write>");
            }
        for (const char* value : {"float", "half4"})
            out.push_back("interpolant<" + std::string(value) + ", interpolation::perspective>");
        for (const char* shape : {"2d", "2d_array", "cube", "cube_array", "2d_ms"})
            out.push_back("depth" + std::string(shape) + "<float>");
        return out;
    }();
    return words;
}

std::span<const std::string> functions() {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> out;
        for (const BuiltinFunction& function : builtinFunctions())
            out.emplace_back(function.name);
        return out;
    }();
    return words;
}

std::span<const std::string> constants() {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> out = {"M_PI_F",   "FLT_MAX",  "INFINITY",         "NAN", "HALF_MAX", "INT_MIN",
                                        "__LINE__", "__FILE__", "__METAL_VERSION__"};
        for (const LibraryConstant& constant : libraryConstants()) {
            std::string word(constant.enumeration);
            if (!word.empty()) word += "::";
            out.push_back(word + std::string(constant.name));
        }
        return out;
    }();
    return words;
}

std::span<const std::string> attributes() {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> out;
        for (const char* name : {"position",
                                 "point_size",
                                 "vertex_id",
                                 "instance_id",
                                 "stage_in",
                                 "flat",
                                 "color(0)",
                                 "color(1)",
                                 "depth(any)",
                                 "depth(less)",
                                 "user(locn0)",
                                 "user(locn1)",
                                 "buffer(0)",
                                 "buffer(1)",
                                 "buffer(31)",
                                 "texture(0)",
                                 "raster_order_group(0)",
                                 "sampler(0)",
                                 "attribute(0)",
                                 "attribute(7)",
                                 "point_coord",
                                 "front_facing",
                                 "sample_id",
                                 "sample_mask",
                                 "clip_distance",
                                 "invariant",
                                 "center_no_perspective",
                                 "primitive_id",
                                 "thread_position_in_grid",
                                 "thread_position_in_threadgroup",
                                 "thread_index_in_threadgroup",
                                 "threadgroup_position_in_grid",
                                 "threads_per_threadgroup",
                                 "threads_per_grid",
                                 "threadgroups_per_grid",
                                 "thread_index_in_simdgroup",
                                 "function_constant(0)",
                                 "function_constant(1)",
                                 "id(0)",
                                 "id(1)",
                                 "early_fragment_tests",
                                 "maybe_unused",
                                 "render_target_array_index",
                                 "threadgroup(0)",
                                 "host_name(\"main\")",
                                 "stitchable",
                                 "raster_order_group(0)",
                                 "max_total_threads_per_threadgroup(64)"})
            out.push_back("[[" + std::string(name) + "]]");
        return out;
    }();
    return words;
}

std::span<const std::string> numbers() {
    static const std::vector<std::string> words = {"0",
                                                   "1",
                                                   "2",
                                                   "3",
                                                   "-1",
                                                   "4294967295u",
                                                   "2147483647",
                                                   "2147483648",
                                                   "0xFF",
                                                   "65536",
                                                   "1000000000",
                                                   "0.0",
                                                   "1.0",
                                                   "-0.0",
                                                   "1e38f",
                                                   "1e-45f",
                                                   "1e9",
                                                   "0x1.8p3",
                                                   "0.5h",
                                                   "65504.0h",
                                                   "1.5bf",
                                                   "0x1p-130BF",
                                                   "1.",
                                                   ".5",
                                                   "'a'",
                                                   "0b101",
                                                   "63",
                                                   "18446744073709551615ul",
                                                   "9223372036854775808",
                                                   "1e400",
                                                   "0x",
                                                   "1.0.0"};
    return words;
}

std::span<const std::string> phrases() {
    static const std::vector<std::string> words = {
        "for (int i = 0; i < 4; ++i) ",
        "for (auto x : a) ",
        "for (auto x : {1, 2, 3}) ",
        "initializer_list<float> l = {1, a, 2}; ",
        "float f(std::initializer_list<float> l) { return *l.begin(); } ",
        "f({a, b, 1}) ",
        "thread float* begin() { return &a; } thread float* end() { return &a + 1; } ",
        "while (true) { break; } ",
        "do { } while (false); ",
        "switch (i) { case 0: break; default: ; } ",
        "if (a) ",
        "else ",
        "return ",
        "return; ",
        "break; ",
        "continue; ",
        "discard_fragment(); ",
        "threadgroup_barrier(mem_flags::mem_threadgroup); ",
        "auto f = [&](auto x) { return x; }; ",
        "auto f = [=](float x) -> float { return x * 2.0; }; ",
        "template <typename T> ",
        "template <int N> ",
        "template <float (*f)(float)> ",
        "template <typename... T> ",
        "(x + ...)",
        "(... && x)",
        "sampler(filter::linear)",
        "template <> ",
        "struct S { float a; S(float x) : a(x) {} float get() const { return a; } }; ",
        "struct T : S { }; ",
        "union U { float f; uint u; }; ",
        "enum class E : uint { a, b = 5 }; ",
        "namespace n { ",
        "using namespace metal; ",
        "using X = float3; ",
        "typedef float4 V; ",
        "static inline __attribute__((always_inline)) ",
        "constexpr sampler s(filter::linear, address::repeat); ",
        "constant float table[4] = { 1, 2, 3, 4 }; ",
        "threadgroup float shared_[64]; ",
        "thread float& ",
        "thread float* ",
        "device float* ",
        "constant float4& ",
        "const device float4* ",
        "T operator+(T a, T b) { return a; } ",
        "float operator()(float x) const { return x; } ",
        "kernel void k(device float* o [[buffer(0)]], uint i [[thread_position_in_grid]]) { o[i] = 1; }\n",
        "fragment float4 g() { return 1; }\n",
        "vertex float4 v(uint id [[vertex_id]]) [[position]] { return float(id); }\n",
        "static_assert(sizeof(float3) == 16, \"size\"); ",
        "as_type<uint>(",
        "static_cast<float>(",
        "reinterpret_cast<device uint*>(",
        "reinterpret_cast<thread uchar&>(",
        "(thread uchar*)&",
        "(ulong)",
        "thread float* ps[3] = { &a, &b, nullptr }; ",
        "p = i > 1 ? &a : &b; ",
        "thread float* thread* ",
        "if (p == q) p = nullptr; ",
        "numeric_limits<float>::max() ",
        ".xyzw",
        ".x",
        "[0]",
        "[i]",
        "->",
        "{}",
        "{ .x = 1 }",
        "? a : b",
        "\n#define A(x) x x\n",
        "\n#define B(x, ...) x ## __VA_ARGS__ #x\n",
        "\n#define C A(C)\n",
        "\n#undef A\n",
        "\n#if defined(A) && A(1) > 0\n",
        "\n#elif 1\n",
        "\n#else\n",
        "\n#endif\n",
        "\n#ifdef A\n",
        "\n#line 7 \"other\"\n",
        "\n#include <metal_stdlib>\n",
        "\n#include \"x.h\"\n",
        "\n#pragma once\n",
        "\n#error no\n",
        "\\\n",
        "/* ",
        "*/",
        "// ",
    };
    return words;
}

} // namespace msl::fuzz
