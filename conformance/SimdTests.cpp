// The functions over a simdgroup and a quad, on the device, against a calculation over the lanes' values, whatever the
// size of the device's simdgroups.
#include "GlassHobRender/tests/Kernels.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string_view>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";
constexpr std::uint32_t threadCount = 64;

// A number of the type under test: floats and integers both fit, products of integers wrap as the device's do.
struct Number {
    double real = 0;
    std::int64_t whole = 0;
};

struct Lanes {
    const std::vector<Number>& x; // of the whole group of lanes
    const std::vector<Number>& y;
    std::size_t lane;
    std::size_t size;
};

struct Row {
    std::string expression; // of x and y, two values of type T, and lane
    std::function<Number(const Lanes&)> reference;
    bool isInteger = false; // there is none for floats
};

using Fold = Number (*)(Number, Number);
Number sum(Number a, Number b) {
    return {a.real + b.real, a.whole + b.whole};
}
Number product(Number a, Number b) {
    return {a.real * b.real, std::int64_t(std::uint64_t(a.whole) * std::uint64_t(b.whole))};
}
Number least(Number a, Number b) {
    return {std::min(a.real, b.real), std::min(a.whole, b.whole)};
}
Number most(Number a, Number b) {
    return {std::max(a.real, b.real), std::max(a.whole, b.whole)};
}
Number bitAnd(Number a, Number b) {
    return {0, a.whole & b.whole};
}
Number bitOr(Number a, Number b) {
    return {0, a.whole | b.whole};
}
Number bitXor(Number a, Number b) {
    return {0, a.whole ^ b.whole};
}

Number folded(Fold fold, const std::vector<Number>& values, std::size_t end, Number start) {
    for (std::size_t i = 0; i < end; ++i)
        start = fold(start, values[i]);
    return start;
}

// The rows of both families: "simd" and "quad" take the same names.
std::vector<Row> rows(const std::string& family) {
    std::vector<Row> made;
    const auto call = [&](const char* name, const char* arguments) { return family + "_" + name + arguments; };
    const auto reduce = [&](const char* name, Fold fold, bool isInteger) {
        made.push_back(
            {call(name, "(x)"),
             [fold](const Lanes& l) { return folded(fold, {l.x.begin() + 1, l.x.end()}, l.size - 1, l.x[0]); },
             isInteger});
    };
    reduce("sum", sum, false);
    reduce("product", product, false);
    reduce("min", least, false);
    reduce("max", most, false);
    reduce("and", bitAnd, true);
    reduce("or", bitOr, true);
    reduce("xor", bitXor, true);
    const auto prefix = [&](const char* name, Fold fold, std::size_t own, Number start) {
        made.push_back({call(name, "(x)"), [=](const Lanes& l) { return folded(fold, l.x, l.lane + own, start); }});
    };
    prefix("prefix_inclusive_sum", sum, 1, {0, 0});
    prefix("prefix_exclusive_sum", sum, 0, {0, 0});
    prefix("prefix_inclusive_product", product, 1, {1, 1});
    prefix("prefix_exclusive_product", product, 0, {1, 1});
    const auto lane = [&](const char* name, const char* arguments, std::function<Number(const Lanes&)> reference) {
        made.push_back({call(name, arguments), std::move(reference)});
    };
    lane("broadcast", "(x, 3)", [](const Lanes& l) { return l.x[3]; });
    lane("broadcast_first", "(x)", [](const Lanes& l) { return l.x[0]; });
    lane("shuffle", "(x, ushort(lane ^ 2))", [](const Lanes& l) { return l.x[l.lane ^ 2U]; });
    lane("shuffle_xor", "(x, 3)", [](const Lanes& l) { return l.x[l.lane ^ 3U]; });
    lane("shuffle_down", "(x, 1)", [](const Lanes& l) { return l.lane + 1 < l.size ? l.x[l.lane + 1] : l.x[l.lane]; });
    lane("shuffle_up", "(x, 2)", [](const Lanes& l) { return l.lane >= 2 ? l.x[l.lane - 2] : l.x[l.lane]; });
    lane("shuffle_rotate_down", "(x, 3)", [](const Lanes& l) { return l.x[(l.lane + 3) % l.size]; });
    lane("shuffle_rotate_up", "(x, 3)", [](const Lanes& l) { return l.x[(l.lane + l.size - 3) % l.size]; });
    lane("shuffle_and_fill_down", "(x, y, 1)",
         [](const Lanes& l) { return l.lane + 1 < l.size ? l.x[l.lane + 1] : l.y[l.lane + 1 - l.size]; });
    lane("shuffle_and_fill_up", "(x, y, 1)",
         [](const Lanes& l) { return l.lane >= 1 ? l.x[l.lane - 1] : l.y[l.size - 1]; });
    lane("shuffle_and_fill_down", "(x, y, 1, 2)",
         [](const Lanes& l) { return l.lane % 2 == 0 ? l.x[l.lane + 1] : l.y[l.lane - 1]; });
    lane("shuffle_and_fill_up", "(x, y, 1, 2)",
         [](const Lanes& l) { return l.lane % 2 == 1 ? l.x[l.lane - 1] : l.y[l.lane + 1]; });
    return made;
}

Number xOf(std::size_t id, bool isFloat) {
    if (isFloat) return {1.0 + double(id % 3) * 0.5, 0};
    return {0, std::int64_t(id * 7 % 23) + 1};
}
Number yOf(std::size_t id, bool isFloat) {
    if (isFloat) return {20.0 + double(id % 5), 0};
    return {0, std::int64_t(id % 11) + 30};
}

std::int64_t cutTo(std::string_view type, std::int64_t value) {
    if (type == "uint") return std::int32_t(std::uint32_t(value));
    if (type == "short") return std::int16_t(value);
    if (type == "ushort") return std::uint16_t(value);
    if (type == "char") return std::int8_t(value);
    if (type == "uchar") return std::uint8_t(value);
    return std::int32_t(value);
}

TEST(Simd, EveryFunctionOfEveryType) {
    for (const std::string family : {"simd", "quad"}) {
        const std::vector<Row> table = rows(family);
        for (const char* type : {"float", "half", "int", "uint", "short", "ushort", "char", "uchar", "long"}) {
            const std::string scalar = type;
            const bool isFloat = scalar == "float" || scalar == "half";
            for (const std::string suffix : {"", "3"}) { // and as the last component of a vector
                if (suffix == "3" && (scalar == "long" || scalar == "char")) continue;
                SCOPED_TRACE(family + " of " + scalar + suffix);
                const std::string last = suffix.empty() ? "" : ".z";
                std::string source = head + "typedef " + scalar + suffix + " T;\nkernel void check(device " +
                                     (isFloat ? "float" : "int") +
                                     "* out, device uint* size, uint id [[thread_position_in_grid]],\n"
                                     "    uint lane [[thread_index_in_" +
                                     family + "group]], uint width [[threads_per_simdgroup]]) {\n" +
                                     (isFloat ? "T x = T(1.0f + float(id % 3) * 0.5f), y = T(20.0f + float(id % 5));\n"
                                              : "T x = T(id * 7 % 23 + 1), y = T(id % 11 + 30);\n") +
                                     "if (id == 0) size[0] = width;\n";
                std::vector<const Row*> used;
                for (const Row& row : table) {
                    if (row.isInteger && isFloat) continue;
                    source += "out[" + std::to_string(used.size() * threadCount) +
                              " + id] = " + (isFloat ? "float" : "int") + "(" + row.expression + last + ");\n";
                    used.push_back(&row);
                }
                std::vector<std::vector<std::byte>> buffers = {
                    bytesOf(std::vector<std::uint32_t>(used.size() * threadCount)),
                    bytesOf(std::vector<std::uint32_t>(1))};
                ASSERT_TRUE(runKernel(source + "}", buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
                const std::size_t size = family == "quad" ? 4 : valuesOf<std::uint32_t>(buffers[1])[0];
                ASSERT_GE(size, 4U);
                const auto floats = valuesOf<float>(buffers[0]);
                const auto integers = valuesOf<std::int32_t>(buffers[0]);
                for (std::size_t r = 0; r < used.size(); ++r) {
                    for (std::size_t id = 0; id < threadCount; ++id) {
                        const std::size_t first = id / size * size;
                        const std::size_t count = std::min(size, threadCount - first);
                        std::vector<Number> x;
                        std::vector<Number> y;
                        for (std::size_t i = first; i < first + count; ++i) {
                            x.push_back(xOf(i, isFloat));
                            y.push_back(yOf(i, isFloat));
                        }
                        if (count < size) continue; // a simdgroup that is not full
                        const Number expected = used[r]->reference({x, y, id - first, size});
                        const std::size_t at = r * threadCount + id;
                        if (isFloat) {
                            const double got = floats[at];
                            const double tolerance = scalar == "half" ? 2e-3 : 1e-5;
                            ASSERT_NEAR(got, expected.real, tolerance * std::abs(expected.real))
                                << used[r]->expression << " of thread " << id;
                        } else {
                            ASSERT_EQ(integers[at], cutTo(scalar, expected.whole))
                                << used[r]->expression << " of thread " << id;
                        }
                    }
                }
            }
        }
    }
}

TEST(Simd, VotesAndActiveLanes) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint32_t>(threadCount * 16)),
                                                   bytesOf(std::vector<std::uint32_t>(1))};
    ASSERT_TRUE(runKernel(head + R"(
kernel void check(device uint* out, device uint* size, uint id [[thread_position_in_grid]],
                  uint lane [[thread_index_in_simdgroup]], uint width [[threads_per_simdgroup]]) {
    device uint* o = out + id * 16;
    if (id == 0) size[0] = width;
    simd_vote even = simd_ballot(lane % 2 == 0);
    quad_vote none = quad_ballot(lane > width);
    o[0] = simd_all(lane < width) && simd_ballot(true).all() && !even.all() && even.any() && !none.any() && !none.all();
    o[1] = simd_all(lane != 2);
    o[2] = simd_any(lane == 2);
    o[3] = simd_any(lane > width);
    o[4] = uint(simd_ballot(lane % 3 == 0)) & 0xff;
    o[5] = simd_is_first();
    o[6] = quad_all(lane % 4 < 3);
    o[7] = quad_any(lane == 5);
    if (lane % 4 != 0) { // the others wait
        o[8] = simd_sum(1);
        o[9] = uint(simd_active_threads_mask()) & 0xff;
        o[10] = simd_is_first();
        o[11] = quad_sum(lane % 4);
        o[12] = quad_is_first() + 10 * uint(ulong(quad_active_threads_mask()));
        o[13] = uint(quad_ballot(lane % 4 > 1));
        o[14] = quad_broadcast_first(lane % 4);
        o[15] = quad_min(lane % 4) * 100 + quad_prefix_exclusive_sum(lane % 4);
    }
})",
                          buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
    const std::uint32_t size = valuesOf<std::uint32_t>(buffers[1])[0];
    const auto out = valuesOf<std::uint32_t>(buffers[0]);
    for (std::uint32_t id = 0; id < threadCount / size * size; ++id) {
        const std::uint32_t lane = id % size;
        const std::uint32_t q = lane % 4;
        const std::uint32_t low = size < 8 ? (1U << size) - 1 : 0xffU;
        std::vector<std::uint32_t> expected = {1, 0, 1, 0, 0x49U & low, lane == 0, 0, lane / 4 == 1};
        if (q != 0) {
            const std::uint32_t before = q == 1 ? 0U : q == 2 ? 1U : 3U;
            for (const std::uint32_t value : {size - size / 4, 0xeeU & low, std::uint32_t(lane == 1), 6U,
                                              std::uint32_t(q == 1) + 140, 12U, 1U, 100 + before})
                expected.push_back(value);
        }
        for (std::size_t k = 0; k < expected.size(); ++k)
            EXPECT_EQ(out[id * 16 + k], expected[k]) << "value " << k << " of lane " << lane;
    }
}

} // namespace
} // namespace glasshob
