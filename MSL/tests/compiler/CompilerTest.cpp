// Whole compiles: real sources become valid modules, mistakes become whole messages, and no text does harm.
#include "MSL/Compiler.h"
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/tests/compiler/Validated.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace msl {
namespace {

using test::problems;
using ::testing::HasSubstr;

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A host as an application would put around a user's shade() and sound().
struct Host {
    std::string before = R"(#include <metal_stdlib>
using namespace metal;
struct Uniforms { float2 resolution; float time; float timeDelta; float2 mouse; uint frame; uint pad; };
struct Params { float twist, speed, scale, jitter, count, hue, zoom, n, size, drive; };
struct Out { float4 position [[position]]; float2 uv; };
vertex Out host_vertex(uint vid [[vertex_id]]) {
    float2 p = float2((vid << 1) & 2, vid & 2);
    return Out{float4(p * 2.0 - 1.0, 0.0, 1.0), p};
}
#line 1 "user.metal"
)";
    std::string after = R"(
#line 1 "host"
fragment float4 host_fragment(Out in [[stage_in]], constant Uniforms& u [[buffer(0)]], constant Params& p [[buffer(1)]]) {
    return shade(in.uv, u, p);
}
)";
    std::string sound = R"(
struct SoundUniforms { float start; float rate; uint count; uint pad; };
kernel void host_sound(device float2* out [[buffer(0)]], constant SoundUniforms& su [[buffer(1)]],
                       constant Params& p [[buffer(2)]], uint i [[thread_position_in_grid]]) {
    if (i < su.count) out[i] = clamp(sound(su.start + float(i) / su.rate, p), -1.0, 1.0);
}
)";
    std::string around(const std::string& user) const {
        return before + user + after + (user.find("float2 sound(") != std::string::npos ? sound : "");
    }
    std::expected<CompiledLibrary, CompileError> compile(const std::string& user, CompileOptions options = {}) const {
        options.userTextBegin = before.size();
        options.userTextEnd = before.size() + user.size();
        return msl::compile(around(user), options);
    }
};

std::vector<std::filesystem::path> files(const char* folder) {
    std::vector<std::filesystem::path> out;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(MSL_TEST_DATA) / folder))
        if (entry.path().extension() == ".metal") out.push_back(entry.path());
    std::ranges::sort(out);
    return out;
}

TEST(Compiler, RealShadersBecomeValidModules) {
    const Host host;
    ASSERT_GE(files("art").size(), 8U);
    for (const auto& path : files("art")) {
        const auto compiled = host.compile(readFile(path));
        ASSERT_TRUE(compiled) << path << "\n" << compiled.error().text;
        EXPECT_EQ(problems(compiled->spirv), "") << path;
        EXPECT_NE(compiled->reflection.entryPoint("host_fragment"), nullptr) << path;
    }
    for (const auto& path : files("")) {
        const auto compiled = compile(readFile(path));
        ASSERT_TRUE(compiled) << path << "\n" << compiled.error().text;
        if (!compiled->reflection.entryPoints.empty()) EXPECT_EQ(problems(compiled->spirv), "") << path;
    }
}

TEST(Compiler, ReflectionTellsAHostWhatItMustBind) {
    const auto compiled = Host().compile("float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return "
                                         "float4(uv, u.time, p.hue); }\n"
                                         "float2 sound(float t, constant Params& p) { return t; }\n");
    ASSERT_TRUE(compiled) << compiled.error().text;
    const EntryPoint* fragment = compiled->reflection.entryPoint("host_fragment");
    ASSERT_NE(fragment, nullptr);
    ASSERT_EQ(fragment->bindings.size(), 2U);
    EXPECT_EQ(fragment->bindings[0].kind, BindingKind::uniformBuffer);
    EXPECT_EQ(fragment->bindings[0].set, 1U);
    EXPECT_EQ(fragment->bindings[0].typeName, "Uniforms");
    EXPECT_EQ(fragment->bindings[0].byteSize, 32U);
    EXPECT_EQ(fragment->bindings[1].binding, 1U);
    const EntryPoint* sound = compiled->reflection.entryPoint("host_sound");
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->stage, Stage::kernel);
    EXPECT_EQ(sound->bindings[0].kind, BindingKind::storageBuffer);
    EXPECT_TRUE(sound->bindings[0].isArray && sound->bindings[0].isWritten);
    EXPECT_EQ(sound->bindings[0].byteSize, 8U);
    EXPECT_EQ(sound->bindings[0].set, 0U);
    const StructLayout* uniforms = compiled->reflection.structLayout("Uniforms");
    ASSERT_NE(uniforms, nullptr);
    EXPECT_EQ(uniforms->members[3].name, "mouse");
    EXPECT_EQ(uniforms->members[3].offset, 16U);
    EXPECT_THAT(toJson(compiled->reflection), HasSubstr("\"metalIndex\": 1"));
}

TEST(Compiler, TellsWhichMembersOfABufferAreRead) {
    const struct {
        const char* body;
        std::uint64_t read;
    } rows[] = {
        {"return float4(u.time);", 0b0010},
        {"return float4(u.mouse.y);", 0b1000},
        {"return float4(through(u));", 0b0011},
        {"constant Uniforms& other = u; return float4(other.delta);", 0b0100},
        {"constant Uniforms* pointer = &u; return float4(pointer->mouse, 0, 0);", 0b1000},
        {"return float4(1.0);", 0},
        {"Uniforms copy = u; return float4(copy.time);", ~0ULL},
        {"return float4(((constant float*)&u)[2]);", ~0ULL},
    };
    for (const auto& row : rows) {
        const auto compiled =
            compile("struct Uniforms { float2 resolution; float time; float delta; float2 mouse; };\n"
                    "static float through(constant Uniforms& v) { return v.resolution.x > 3.0 ? v.time : 1.0; }\n"
                    "fragment float4 f(constant Uniforms& u [[buffer(0)]]) { " +
                    std::string(row.body) + " }\n");
        ASSERT_TRUE(compiled) << row.body << "\n" << compiled.error().text;
        std::uint64_t read = 0;
        for (const Binding& binding : compiled->reflection.entryPoint("f")->bindings)
            if (binding.metalIndex == 0) read |= binding.membersRead;
        EXPECT_EQ(read, row.read) << row.body;
    }
}

struct Mistake {
    const char* user;
    const char* firstLine;
};

TEST(Compiler, MistakesAreToldOnTheUsersLine) {
    const std::string open = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n";
    const Mistake mistakes[] = {
        {"    float3 c = float3(uv, 0.5)\n    return float4(c, 1);\n}\n",
         "user.metal:2:31: error: expected ';' at end of declaration"},
        {"    return vec4(uv, 0, 1);\n}\n",
         "user.metal:2:12: error: use of undeclared identifier 'vec4'; did you mean 'float4'?"},
        {"    return float4(uv.xyz, 1);\n}\n", "user.metal:2:22: error: vector component access exceeds type 'float2'"},
        {"    return float4(p.bands);\n}\n", "user.metal:2:21: error: no member named 'bands' in 'Params'"},
        {"    float3 c = uv;\n    return float4(c, 1);\n}\n",
         "user.metal:2:12: error: cannot initialize a variable of type 'float3' with an lvalue of type 'float2'"},
        {"    u.time = 2.0;\n    return 1;\n}\n",
         "user.metal:2:12: error: cannot assign to variable 'u' with const-qualified type 'const constant Uniforms &'"},
        {"    return float4(smothstep(0, 1, uv.x));\n}\n",
         "user.metal:2:19: error: use of undeclared identifier 'smothstep'; did you mean 'smoothstep'?"},
        {"    if (uv.x > 0.5 { return 1; }\n    return 0;\n}\n", "user.metal:2:20: error: expected ')'"},
        {"    for (int i = 0; i < 3; i++) {\n        uv *= 2;\n    return float4(uv, 0, 1);\n}\n",
         "user.metal:5:2: error: expected '}'"},
        {"    return shade(uv, u, p);\n}\n",
         "user.metal:2:12: error: recursion is not supported: 'shade' calls itself"},
        {"    return 1;\n}\n#include \"noise.h\"\n", "user.metal:4:10: error: 'noise.h' file not found"},
        {"    if (device t = 1.0; t > 0) return 1;\n    return 0;\n}\n",
         "user.metal:2:16: error: a type specifier is required for all declarations"},
        {"    return 1;\n}\n/* and so on\n", "user.metal:4:1: error: unterminated /* comment"},
    };
    for (const Mistake& mistake : mistakes) {
        const auto compiled = Host().compile(open + mistake.user);
        ASSERT_FALSE(compiled) << mistake.user;
        const std::string& text = compiled.error().text;
        EXPECT_EQ(text.substr(0, text.find('\n')), mistake.firstLine) << text;
    }
}

TEST(Compiler, AMessageShowsTheLineAndACaret) {
    const auto compiled = Host().compile("float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                                         "\tfloat4 c = float4(uv, 0, 1);\n\treturn c * colour;\n}\n");
    ASSERT_FALSE(compiled);
    EXPECT_EQ(compiled.error().text, "user.metal:3:13: error: use of undeclared identifier 'colour'\n"
                                     "\treturn c * colour;\n"
                                     "\t           ^\n");
}

TEST(Compiler, AUserCannotSpeakAsTheHost) {
    const auto compiled = Host().compile("#line 1 \"host\"\nfloat4 shade(float2 uv, constant Uniforms& u, constant "
                                         "Params& p) { return nothing; }\n");
    ASSERT_FALSE(compiled);
    EXPECT_THAT(compiled.error().text, ::testing::StartsWith("user.metal:2:"));
}

TEST(Compiler, APragmaOfTheUsersEndsWithTheirText) {
    const auto compiled =
        Host().compile("#pragma pack(push, 1)\nstruct Mine { char c; float f; };\n"
                       "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return sizeof(Mine); }\n"
                       "float2 sound(float t, constant Params& p) { return t; }\n");
    ASSERT_TRUE(compiled) << compiled.error().text;
    std::map<std::string, std::uint32_t> alignments;
    for (const StructLayout& layout : compiled->reflection.structs)
        alignments[layout.name] = layout.alignment;
    EXPECT_EQ(alignments["Mine"], 1U);
    EXPECT_EQ(alignments["SoundUniforms"], 4U);
}

// A buffer that goes on behind its type takes as many bytes as the host binds, which only a storage buffer can.
TEST(Compiler, ABufferThatEndsInAnArrayOfOneIsAStorageBuffer) {
    struct {
        const char* type;
        BindingKind kind;
        std::uint32_t byteSize;
    } const rows[] = {
        {"struct T { float a; float v[1]; };", BindingKind::storageBuffer, 8},
        {"struct I { float v[1]; }; struct T { float4 a; I i; };", BindingKind::storageBuffer, 32},
        {"typedef float T[1];", BindingKind::storageBuffer, 4},
        {"struct T { float v[1]; float a; };", BindingKind::uniformBuffer, 8},
        {"struct T { float a; float v[2]; };", BindingKind::uniformBuffer, 12},
        {"struct I { float v[1]; }; struct T { I i; float a; };", BindingKind::uniformBuffer, 8},
        {"struct __attribute__((packed)) T { char c; float a; };", BindingKind::storageBuffer, 5},
        {"struct __attribute__((packed)) T { float a; char c; };", BindingKind::uniformBuffer, 5},
    };
    for (const auto& row : rows) {
        const auto compiled = compile("#include <metal_stdlib>\nusing namespace metal;\n" + std::string(row.type) +
                                      "\nkernel void k(constant T& t [[buffer(0)]], device T* o [[buffer(1)]]) {}");
        ASSERT_TRUE(compiled) << row.type << compiled.error().text;
        const Binding& binding = compiled->reflection.entryPoints.at(0).bindings.at(0);
        EXPECT_EQ(binding.kind, row.kind) << row.type;
        EXPECT_EQ(binding.byteSize, row.byteSize) << row.type;
    }
    const auto compiled =
        compile("struct T { float v[1]; };\nkernel void k(device T& t [[buffer(0)]]) { t.v[3] = 1; }");
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_TRUE(compiled->warnings.empty());
}

TEST(Compiler, AStructMayHaveManyMembers) {
    constexpr int count = 16000;
    const auto number = [](int i) { return std::to_string(i); };
    std::string members, sum;
    for (int i = 0; i < count; ++i) {
        members += "    float v" + number(i) + ";\n";
        sum += "    s += p.v" + number(i) + ";\n";
    }
    const std::string head = "struct Params {\n" + members;
    const std::string rest = "    enum { first, last = 7 };\n    float get() const { return v3; }\n"
                             "    float get(float x) const { return x + v4; }\n"
                             "    static constexpr constant float half_ = 0.5;\n"
                             "    struct Inner { float x; };\n};\n";
    const std::string use = "fragment float4 f(constant Params& p [[buffer(0)]]) {\n    float s = 0.0;\n" + sum +
                            "    Params::Inner inner = { p.get() + p.get(1.0) };\n"
                            "    return float4(s, inner.x, Params::half_, float(Params::last)); }\n";
    const auto compiled = compile(head + rest + use);
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_EQ(problems(compiled->spirv), "");

    const auto twice = compile(head + "    float v15998;\n};\n");
    ASSERT_FALSE(twice);
    EXPECT_THAT(twice.error().text, HasSubstr("16002:11: error: duplicate member 'v15998'"));
    EXPECT_THAT(twice.error().text, HasSubstr("16000:11: note: previous declaration is here"));
    const auto missing = compile(head + "};\nfloat f(constant Params& p) { return p.v16000; }\n");
    ASSERT_FALSE(missing);
    EXPECT_THAT(missing.error().text, HasSubstr("error: no member named 'v16000' in 'Params'"));
}

TEST(Compiler, WarningsDoNotFailACompile) {
    const auto compiled = Host().compile("float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                                         "    float spare = 1;\n    return 1;\n}\n");
    ASSERT_TRUE(compiled);
    EXPECT_THAT(toText(compiled->warnings), HasSubstr("user.metal:2:11: warning: unused variable 'spare'"));
}

TEST(Compiler, EveryLibraryFunctionIsTranslatedOrRefusedByName) {
    int accepted = 0;
    for (const BuiltinFunction& function : builtinFunctions()) {
        for (const char* type : {"float", "float3", "half", "half4", "int", "uint2", "short3", "uchar", "long",
                                 "ulong2", "bool3", "float3x3", "half2x2"}) {
            for (const char* arguments :
                 {"x", "x, x", "x, x, x", "x, 2", "x, o", "x, x, true", "x, 1u, 2u", "x, x, 1u, 2u"}) {
                const std::string t = type;
                const std::string source =
                    "#include <metal_stdlib>\nusing namespace metal;\nfragment float4 f(device " + t +
                    "* in [[buffer(0)]]) { " + t + " x = in[0]; " + t + " o; auto r = " + std::string(function.name) +
                    "(" + arguments + "); return r == r ? 1 : 0; }";
                std::string kept = source; // what cannot be compared with itself is only made
                kept.replace(kept.find("r == r ? 1 : 0"), 14, "1");
                for (const std::string& text : {source, kept}) {
                    const auto compiled = compile(text);
                    if (!compiled) {
                        EXPECT_THAT(compiled.error().text, ::testing::Not(HasSubstr("internal compiler error")))
                            << text;
                        continue;
                    }
                    ++accepted;
                    EXPECT_EQ(problems(compiled->spirv), "") << text;
                }
            }
        }
    }
    EXPECT_GT(accepted, 500);
}

TEST(Compiler, HostileTextsComeToAnEnd) {
    const auto repeated = [](const std::string& text, int times) {
        std::string out;
        for (int i = 0; i < times; ++i)
            out += text;
        return out;
    };
    const std::string texts[] = {
        "",
        std::string(1, '\0'),
        "\xff\xfe\xfd",
        repeated("(", 100000),
        repeated("{", 100000),
        "float f() { return " + repeated("1+", 20000) + "1; }",
        "float f() { return " + repeated("-", 50000) + "1; }",
        "float a[2000000000];",
        "kernel void k() { float a[100000000]; a[1] = 2; }",
        "#define A B B\n#define B A A\nA",
        "#define X(a) a a\n" + repeated("X(", 60) + "1" + repeated(")", 60),
        "template <int N> struct S { S<N + 1> next; }; S<0> s;",
        "template <int N> float f() { return f<N + 1>(); } kernel void k() { f<0>(); }",
        repeated(" ", 3000000),
        repeated("#if 1\n", 20000),
        "float4 f(float4 x) { return x" + repeated(".xyzw", 20000) + "; }",
        repeated("struct S { ", 5000),
        "kernel void k(device float* o [[buffer(99999999999999999999)]]) {}",
        // elements that take nothing of the list that they are in
        "struct E {}; struct A { array<float, 4> a; }; kernel void k(float3 v) { A x = {.a = v, .a = 2.0f}; "
        "E e[1000000] = {1}; array<E, 100000000> b = {.a = 1, [2] = 3}; }",
        // more errors than are told, and the tree behind them is half done
        repeated("mod mod(mod x, mod y) { return x - y * floor(x / y); }\n", 12),
        // a struct of 64 KB copied through a cast, again and again
        "struct B { float a[4000][4]; }; kernel void k(device uint* raw) { device B* b = (device B*)raw; " +
            repeated("b[0] = b[1];", 2000) + "}",
    };
    for (const std::string& text : texts) {
        CompileOptions options;
        options.timeLimit = std::chrono::milliseconds(250);
        const auto compiled = compile(text, options); // coming back is what is asked
        if (!compiled) EXPECT_LT(compiled.error().text.size(), 200000U) << text.substr(0, 60);
    }
}

TEST(Compiler, ATimeLimitEndsInAMessage) {
    // Every call looks at every overload, which is far more than a millisecond's work.
    std::string text = "#include <metal_stdlib>\nusing namespace metal;\n";
    for (int i = 0; i < 1500; ++i)
        text += "struct S" + std::to_string(i) + " { float x; }; float f(S" + std::to_string(i) +
                " s) { return f(S0{}); }\n";
    CompileOptions options;
    options.timeLimit = std::chrono::milliseconds(1);
    const auto compiled = compile(text, options);
    ASSERT_FALSE(compiled);
    EXPECT_THAT(compiled.error().text, HasSubstr("error: this text takes too long to compile"));
}

TEST(Compiler, CutTextsGiveMessagesAndNothingElse) {
    const Host host;
    for (const auto& path : files("art")) {
        const std::string whole = readFile(path);
        for (std::size_t length = 0; length < whole.size(); length += 37) {
            const auto compiled = host.compile(whole.substr(0, length));
            if (compiled) continue;
            EXPECT_THAT(compiled.error().text, HasSubstr("error: "));
            EXPECT_THAT(compiled.error().text, ::testing::Not(HasSubstr("internal compiler error")))
                << path << " cut at " << length;
        }
    }
}

} // namespace
} // namespace msl
