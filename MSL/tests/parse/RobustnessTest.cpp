// No text may crash the parser, hang it or make it read out of bounds (the sanitizers see the latter), and whatever the
// user leaves unfinished, the host's functions behind it are still read.
#include "Parsed.h"

#include "MSL/lex/Preprocessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace msl {
namespace {

constexpr std::string_view source = R"(// @param speed 1.0 0.0 2.0
#define STEPS 8
#define SQ(x) ((x) * (x))
#define CAT(a, b) a##b
#if defined(STEPS) && STEPS > 4
constant float kScale = 2.0e-1f; /* scale */
#else
constant float kScale = 1.;
#endif
enum class Tone : uint { warm = 1 << 2, cold };
template <typename T, int N = 3> struct Pair { T a[N]; Pair<T, N> twin() const; };
template <> struct Pair<float, 2> { float k = 1.0; };
struct Ray : public Base {
    float3 o, d = float3(1), w[2];
    Ray(float3 a) : o(a), d{a} {}
    float3 at(float t) const { return o + t * d; }
    union { float f; uint u; };
};
typedef struct { float a; } Box;
namespace tile { using Colour = float3; float f(thread float& x, device const float* p [[buffer(1)]]); }
[[stitchable]] half4 effect(float2 p, half4 c) { return c * 0.5h; }
float2 turn(float2 p, float a) {
    float c = cos(a), s = sin(a);
    return float2x2(c, -s, s, c) * p;
}
float4 shade(float2 uv, constant Uniforms& u) {
    float3 col = { 1, 2., .5f };
    Box b = { .a = 2 }, *q = &b;
    for (int i = 0, j = 9; i < STEPS && j > 0; i++, --j) {
        if (SQ(uv.x) < 1.0) continue; else if (uv.y >= 2.0 || !(uv.x > 3)) break;
        col.xy += turn(CAT(u, v) * float(i), u.time);
    }
    switch (int(uv.x)) { case 0: case int(Tone::cold): col = 1; break; default: { col = 2; } }
    do { q->a -= 1; } while (q->a > 0);
    while (true) { auto g = [&, c = 1](float k) -> float { return k * b.a; }; col = g(1) ? col : -col; break; }
    uint h = uint(uv.x) >> 3; h >>= 1; h ^= 0xffu; h = as_type<uint>(static_cast<float>(h)) + sizeof(Box);
    constexpr sampler smp(filter::linear, address::repeat);
    return float4(pow(col, float3(0.4545)), Pair<float, 2>{ 1 }.k) + tex.sample(smp, uv, level(0)).zyxw["\x41"[0]];
}
)";

void expectSurvives(std::string_view user) {
    Hosted text = hosted(user);
    Parsed result = parsed(text.text, text.begin, text.end);
    EXPECT_NE(result.tree.find("fragment function gh_fragment("), std::string::npos) << user;
}

TEST(Robustness, SurvivesEveryTruncation) {
    for (std::size_t length = 0; length <= source.size(); ++length) {
        // A macro or struct that swallows the host's names is the user's affair; a text cut in the middle never is.
        expectSurvives(source.substr(0, length));
        if (::testing::Test::HasFailure()) return;
    }
}

// A line that is being typed, with the rest of the text behind it: one message, seldom two, never a cascade.
TEST(Robustness, SaysLittleAboutALineThatIsBeingTyped) {
    constexpr std::string_view typed = R"(constant float tau = 6.28;
constant float4 chords[2] = {
    float4(1.0, 2.0, 3.0, 4.0),
    float4(2.0, 3.0, 4.0, 5.0)
};

float2 wave(float2 x) {
    float2 t = 2.0 * fract(x) - 1.0;
    return t * (0.8 + 0.2 * abs(t));
}

float4 shade(float2 uv, constant Uniforms& u) {
    float3 c = float3(0.1, 0.2, 0.3);
    for (int i = 0; i < 4; i++) {
        float2 push = wave(uv.yx * float(i));
        if (push.x > 0.5) {
            c.x += tau * push.x;
        } else if (push.y < chords[i & 1].z) {
            continue;
        }
        c = mix(c, float3(1.0), smoothstep(0.0, 1.0, push.y));
    }
    float heat = saturate(0.4 + 0.3 * (c.x + c.y));
    c *= heat;
    return float4(c, 1.0);
}

float2 sound(float t) {
    return float2(sin(tau * t));
}
)";
    unsigned states = 0;
    unsigned withTwo = 0;
    for (std::size_t line = 0; line < typed.size(); line = typed.find('\n', line) + 1) {
        std::size_t end = typed.find('\n', line);
        for (std::size_t cut = line; cut < end; ++cut) {
            Hosted text = hosted(std::string(typed.substr(0, cut)) + std::string(typed.substr(end)));
            std::string errors = parsed(text.text, text.begin, text.end).errors;
            std::size_t count = 0;
            for (std::size_t at = errors.find(": error: "); at != std::string::npos;
                 at = errors.find(": error: ", at + 1))
                ++count;
            ++states;
            withTwo += count > 1;
            EXPECT_LE(count, 3U) << typed.substr(line, cut - line) << '\n' << errors;
            EXPECT_EQ(errors.find("gh_host"), std::string::npos) << errors;
        }
    }
    EXPECT_LT(withTwo * 20, states) << withTwo << " of " << states;
}

TEST(Robustness, SurvivesMissingAndStrayTokens) {
    std::vector<std::pair<std::size_t, std::size_t>> tokens;
    {
        SourceManager sources(source, "t", 0, 0);
        Diagnostics diagnostics(sources);
        Arena arena;
        IdentifierTable identifiers(arena);
        Lexer lexer(source, identifiers, diagnostics);
        lexer.setRange(0, static_cast<std::uint32_t>(source.size()));
        Token token;
        for (lexer.next(token); !token.is(TokenKind::eof); lexer.next(token))
            tokens.emplace_back(token.location.offset(), token.end);
    }
    std::mt19937 random(7);
    auto anyToken = [&] { return tokens[random() % tokens.size()]; };
    for (int round = 0; round < 1500; ++round) {
        std::string text(source);
        for (unsigned change = 0; change <= random() % 3; ++change) {
            auto [begin, end] = anyToken(); // of the text before earlier changes, so only roughly a token
            begin = std::min(begin, text.size());
            auto [from, to] = anyToken();
            std::string_view other = source.substr(from, to - from);
            switch (random() % 3) {
            case 0: text.replace(begin, end - begin, std::string(end - begin, ' ')); break;
            case 1: text.replace(begin, end - begin, other); break;
            default: text.insert(begin, std::string(other) + ' '); break;
            }
        }
        Hosted whole = hosted(text);
        parsed(whole.text, whole.begin, whole.end);
    }
}

TEST(Robustness, SurvivesAnyBytes) {
    std::mt19937 random(11);
    constexpr std::string_view alphabet = "(){}[]<>;,.:?=+-*&|!~^%#\\\"'/ \n\tax1.0f@$";
    for (int round = 0; round < 400; ++round) {
        std::string text;
        for (unsigned i = 0; i < 200; ++i)
            text += round % 2 ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
        Hosted whole = hosted(text);
        parsed(whole.text, whole.begin, whole.end);
    }
}

TEST(Robustness, ReportsAFewErrorsOnly) {
    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += "float a = ;\n";
    std::string errors = messages(parsed(text).errors);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), Diagnostics::errorLimit);
}

} // namespace
} // namespace msl
