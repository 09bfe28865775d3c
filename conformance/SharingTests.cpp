// What threads share, on the device: atomic objects in device and threadgroup memory, threadgroup variables behind
// barriers, the attributes that say which thread this is, and constants that the host gives.
#include "GlassHobRender/tests/Kernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";
constexpr std::uint32_t threadCount = 256;

template <typename T>
std::vector<std::byte> zeros(std::size_t count) {
    return bytesOf(std::vector<T>(count));
}

// -------------------------------------------------------------------------------------------------------- atomics

TEST(Atomics, HistogramsCountEveryThread) {
    std::vector<std::uint32_t> input(4096);
    for (std::size_t i = 0; i < input.size(); ++i)
        input[i] = std::uint32_t(i * i * 2654435761U >> 20U) % 16;
    std::vector<std::uint32_t> expected(16);
    for (const std::uint32_t value : input)
        ++expected[value];
    struct {
        const char* name;
        const char* body;
    } const cases[] = {
        {"straight into a member of a struct",
         "atomic_fetch_add_explicit(&bins.counts[input[id]], 1u, memory_order_relaxed);"},
        {"through a function that takes a reference", "count(bins.counts[input[id]]);"},
        {"through a pointer that moved", "device atomic_uint* p = bins.counts; p += input[id]; count(*p);"},
        {"by comparing and exchanging",
         "uint seen = atomic_load_explicit(bins.counts + input[id], memory_order_relaxed);"
         "while (!atomic_compare_exchange_weak_explicit(&bins.counts[input[id]], &seen, seen + 1,"
         "                                              memory_order_relaxed, memory_order_relaxed)) {}"},
        {"in threadgroup memory first",
         "threadgroup atomic_uint local[16];"
         "if (lid < 16) atomic_store_explicit(&local[lid], 0u, memory_order_relaxed);"
         "threadgroup_barrier(mem_flags::mem_threadgroup);"
         "atomic_fetch_add_explicit(&local[input[id]], 1u, memory_order_relaxed);"
         "threadgroup_barrier(mem_flags::mem_threadgroup);"
         "if (lid < 16) atomic_fetch_add_explicit(&bins.counts[lid],"
         "                  atomic_load_explicit(&local[lid], memory_order_relaxed), memory_order_relaxed);"},
    };
    for (const auto& [name, body] : cases) {
        SCOPED_TRACE(name);
        std::vector<std::vector<std::byte>> buffers = {zeros<std::uint32_t>(18), bytesOf(input)};
        ASSERT_TRUE(runKernel(head + R"(
struct Bins { uint before; atomic_uint counts[16]; uint after; };
void count(device atomic_uint& n) { atomic_fetch_add_explicit(&n, 1u, memory_order_relaxed); }
kernel void check(device Bins& bins, const device uint* input, uint id [[thread_position_in_grid]],
                  uint lid [[thread_position_in_threadgroup]]) {
)" + body + "}",
                              buffers, std::uint32_t(input.size())));
        const auto counts = valuesOf<std::uint32_t>(buffers[0]);
        EXPECT_EQ(counts.front(), 0U);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), counts.begin() + 1));
        EXPECT_EQ(counts.back(), 0U);
    }
}

struct UpdateRow {
    const char* function; // atomic_fetch_...
    std::int64_t start;
    std::int64_t (*reference)(std::int64_t, std::int64_t); // one step; the order of the threads does not matter
};
constexpr UpdateRow updates[] = {
    {"add", 5, [](std::int64_t a, std::int64_t b) { return a + b; }},
    {"sub", 5, [](std::int64_t a, std::int64_t b) { return a - b; }},
    {"and", -1, [](std::int64_t a, std::int64_t b) { return a & (b | ~std::int64_t{0xff}); }},
    {"or", 0, [](std::int64_t a, std::int64_t b) { return a | b; }},
    {"xor", 77, [](std::int64_t a, std::int64_t b) { return a ^ b; }},
    {"max", -3, [](std::int64_t a, std::int64_t b) { return std::max(a, b); }},
    {"min", 100, [](std::int64_t a, std::int64_t b) { return std::min(a, b); }},
};

// What thread `id` brings: for int some are negative, for uint those are large.
std::int64_t given(std::uint32_t id, bool isUnsigned) {
    const auto value = std::int32_t(id * 37 % 251) - 60;
    return isUnsigned ? std::int64_t{std::uint32_t(value)} : value;
}

TEST(Atomics, EveryUpdateInDeviceAndThreadgroupMemory) {
    for (const char* type : {"int", "uint"}) {
        const bool isUnsigned = type[0] == 'u';
        std::string device;
        std::string group;
        std::string start;
        std::string end;
        std::vector<std::int32_t> objects;
        for (std::size_t i = 0; i < std::size(updates); ++i) {
            const std::string n = std::to_string(i);
            const std::string value = std::string(updates[i].function) == "and" ? "(v | T(0xffffff00))" : "v";
            const std::string call = std::string("atomic_fetch_") + updates[i].function + "_explicit(&";
            device += call + "objects[" + n + "], " + value + ", memory_order_relaxed);\n";
            group += call + "local.values[" + n + "], " + value + ", memory_order_relaxed);\n";
            start += "atomic_store_explicit(&local.values[" + n + "], T(" + std::to_string(updates[i].start) +
                     "), memory_order_relaxed);\n";
            end += "out[" + n + "] = atomic_load_explicit(&local.values[" + n + "], memory_order_relaxed);\n";
            objects.push_back(std::int32_t(updates[i].start));
        }
        std::vector<std::vector<std::byte>> buffers = {bytesOf(objects), zeros<std::int32_t>(objects.size())};
        const std::string source =
            head + "typedef " + type + " T;\n" + "struct Local { T other; atomic<T> values[7]; };\n" +
            "kernel void check(device atomic<T>* objects, device T* out,\n"
            "                  uint id [[thread_position_in_grid]]) {\n"
            "    threadgroup Local local;\n    T v = T(int(id * 37 % 251) - 60);\n" +
            device + "if (id == 0) {" + start + "}\nthreadgroup_barrier(mem_flags::mem_threadgroup);\n" + group +
            "threadgroup_barrier(mem_flags::mem_threadgroup);\nif (id == 0) {" + end + "}}";
        ASSERT_TRUE(runKernel(source, buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
        const auto inDevice = valuesOf<std::uint32_t>(buffers[0]);
        const auto inGroup = valuesOf<std::uint32_t>(buffers[1]);
        for (std::size_t i = 0; i < std::size(updates); ++i) {
            std::int64_t expected = isUnsigned ? std::int64_t{std::uint32_t(updates[i].start)} : updates[i].start;
            for (std::uint32_t id = 0; id < threadCount; ++id)
                expected = updates[i].reference(expected, given(id, isUnsigned));
            EXPECT_EQ(inDevice[i], std::uint32_t(expected)) << type << " " << updates[i].function;
            EXPECT_EQ(inGroup[i], std::uint32_t(expected)) << type << " " << updates[i].function << ", threadgroup";
        }
    }
}

TEST(Atomics, AnUpdateGivesWhatWasThereBefore) {
    std::vector<std::vector<std::byte>> buffers = {zeros<std::uint32_t>(2), zeros<std::uint32_t>(threadCount),
                                                   zeros<std::uint32_t>(threadCount)};
    ASSERT_TRUE(runKernel(head + R"(
kernel void check(device atomic_uint* n, device uint* ticket, device uint* last,
                  uint id [[thread_position_in_grid]]) {
    ticket[id] = atomic_fetch_add_explicit(&n[0], 1u, memory_order_seq_cst);
    last[id] = atomic_exchange_explicit(&n[1], id + 1, memory_order_acq_rel);
})",
                          buffers, threadCount));
    std::vector<std::uint32_t> all(threadCount);
    std::iota(all.begin(), all.end(), 0U);
    auto tickets = valuesOf<std::uint32_t>(buffers[1]);
    std::ranges::sort(tickets);
    EXPECT_EQ(tickets, all);
    // Every value that was put there was found by the next thread, but for the last one, which is still there.
    auto found = valuesOf<std::uint32_t>(buffers[2]);
    found.push_back(valuesOf<std::uint32_t>(buffers[0])[1]);
    std::ranges::sort(found);
    all.push_back(threadCount);
    EXPECT_EQ(found, all);
}

TEST(Atomics, FloatsBoolsAndLongs) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<float>{1.5F, 0, 7}), zeros<std::uint32_t>(2),
                                                   zeros<std::uint64_t>(2), zeros<float>(4)};
    auto& longs = buffers[2];
    longs = bytesOf(std::vector<std::uint64_t>{0x100000000ULL, ~0ULL});
    ASSERT_TRUE(runKernel(head + R"(
kernel void check(device atomic_float* f, device atomic_bool* b, device atomic_ulong* l, device float* out,
                  uint id [[thread_position_in_grid]]) {
    threadgroup atomic_float sum;
    atomic_fetch_add_explicit(&f[0], 0.25f * id, memory_order_relaxed);
    atomic_fetch_sub_explicit(&f[1], 1.0f, memory_order_relaxed);
    atomic_fetch_add_explicit(&sum, 0.5f, memory_order_relaxed);
    atomic_max_explicit(&l[0], (ulong(id) << 33) + 1, memory_order_relaxed);
    atomic_min_explicit(&l[1], (ulong(id + 1) << 33) + 1, memory_order_relaxed);
    if (id == 3) {
        float expected = 7;
        out[0] = atomic_compare_exchange_weak_explicit(&f[2], &expected, 8.0f, memory_order_relaxed,
                                                       memory_order_relaxed) ? 1 : 2;
        out[1] = atomic_compare_exchange_weak_explicit(&f[2], &expected, 9.0f, memory_order_relaxed,
                                                       memory_order_relaxed) ? 1 : 2;
        out[2] = expected;
        bool old = atomic_exchange_explicit(&b[0], true, memory_order_relaxed);
        atomic_store_explicit(&b[1], !old && atomic_load_explicit(&b[0], memory_order_relaxed), memory_order_relaxed);
    }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (id == 0) out[3] = atomic_load_explicit(&sum, memory_order_relaxed);
})",
                          buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
    EXPECT_EQ(valuesOf<float>(buffers[0]),
              (std::vector<float>{1.5F + 0.25F * threadCount * (threadCount - 1) / 2, -float(threadCount), 8}));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[1]), (std::vector<std::uint32_t>{1, 1}));
    EXPECT_EQ(valuesOf<std::uint64_t>(longs),
              (std::vector<std::uint64_t>{(std::uint64_t{threadCount - 1} << 33U) + 1, (1ULL << 33U) + 1}));
    EXPECT_EQ(valuesOf<float>(buffers[3]), (std::vector<float>{1, 2, 8, 0.5F * threadCount}));
}

TEST(Atomics, IntegersCanBeSeenAsAtomics) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::int32_t>{0, -5, 7}),
                                                   zeros<std::uint32_t>(1)};
    ASSERT_TRUE(runKernel(head + R"(
struct Plain { uint count; int numbers[2]; };
kernel void check(device Plain& plain, device uint* out, uint id [[thread_position_in_grid]]) {
    threadgroup uint shared;
    atomic_fetch_add_explicit((device atomic_uint*)&plain.count, 2u, memory_order_relaxed);
    atomic_fetch_max_explicit(reinterpret_cast<device atomic_int*>(&plain.numbers[0]), int(id) - 300,
                              memory_order_relaxed);
    // as unsigned numbers -5 is far above 7
    atomic_fetch_max_explicit((device atomic_uint*)(plain.numbers + 1), id == 9 ? uint(-5) : id, memory_order_relaxed);
    atomic_fetch_or_explicit((threadgroup atomic_uint*)&shared, id, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (id == 0) out[0] = shared;
})",
                          buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
    EXPECT_EQ(valuesOf<std::int32_t>(buffers[0]), (std::vector<std::int32_t>{2 * threadCount, -5, -5}));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[1])[0], 255U);
}

TEST(Atomics, WildIndexesStayInside) {
    // An array between two guards, a whole buffer, and threadgroup memory between two variables.
    std::vector<std::vector<std::byte>> buffers = {zeros<std::uint32_t>(6), zeros<std::uint32_t>(5),
                                                   zeros<std::uint32_t>(3), bytesOf(std::vector<std::int32_t>{-70000})};
    ASSERT_TRUE(runKernel(head + R"(
struct Guarded { uint before; atomic_uint n[4]; uint after; };
kernel void check(device Guarded& guarded, device atomic_uint* whole, device uint* out, device const int& wild,
                  uint id [[thread_position_in_grid]]) {
    struct Local { uint before; atomic_uint n[4]; uint after; };
    threadgroup Local local;
    int at = wild + int(id) * 1117;
    atomic_fetch_add_explicit(&guarded.n[at], 1u, memory_order_relaxed);
    atomic_fetch_add_explicit(whole + at, 1u, memory_order_relaxed);
    atomic_fetch_add_explicit(&local.n[at], 1u, memory_order_relaxed);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    if (id != 0) return;
    out[0] = local.before;
    out[1] = local.after;
    for (int i = 0; i < 4; i++) out[2] += atomic_load_explicit(&local.n[i], memory_order_relaxed);
})",
                          buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
    const auto guarded = valuesOf<std::uint32_t>(buffers[0]);
    EXPECT_EQ(guarded[0], 0U);
    EXPECT_EQ(guarded[5], 0U);
    EXPECT_EQ(guarded[1] + guarded[2] + guarded[3] + guarded[4], threadCount);
    const auto whole = valuesOf<std::uint32_t>(buffers[1]);
    EXPECT_EQ(std::accumulate(whole.begin(), whole.end(), 0U), threadCount);
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[2]), (std::vector<std::uint32_t>{0, 0, threadCount}));
}

// ------------------------------------------------------------------------------------------- threadgroup memory

TEST(ThreadgroupMemory, SumsAndPrefixSums) {
    std::vector<std::uint32_t> input(1024);
    for (std::size_t i = 0; i < input.size(); ++i)
        input[i] = std::uint32_t(i * 31 % 101);
    struct {
        const char* name;
        const char* body; // leaves the sum of the group's values up to this one in `sum`
    } const cases[] = {
        {"in steps",
         "threadgroup uint a[128];"
         "a[lid] = input[id]; threadgroup_barrier(mem_flags::mem_threadgroup);"
         "for (uint step = 1; step < 128; step *= 2) {"
         "    uint other = lid >= step ? a[lid - step] : 0u; threadgroup_barrier(mem_flags::mem_threadgroup);"
         "    a[lid] += other; threadgroup_barrier(mem_flags::mem_threadgroup);"
         "}"
         "uint sum = a[lid];"},
        {"in functions that take pointers",
         "threadgroup uint a[128]; threadgroup uint b[128]; threadgroup uint* from = a;"
         "a[lid] = input[id]; threadgroup_barrier(mem_flags::mem_threadgroup);"
         "for (uint step = 1; step < 128; step *= 4) {"
         "    shifted(b, a, lid, step); shifted(a, b, lid, step * 2);"
         "}"
         "uint sum = from[lid];"},
        {"in the argument whose length the host gives",
         "scratch[lid] = input[id]; threadgroup_barrier(mem_flags::mem_threadgroup);"
         "uint sum = 0; for (uint i = 0; i <= lid; i++) sum += scratch[i];"},
        {"in structs and rows",
         "threadgroup Row rows[16];"
         "rows[lid / 8].cells[lid % 8].y = input[id]; rows[lid / 8].isSet[lid % 8] = lid % 2 == 0;"
         "threadgroup_barrier(mem_flags::mem_threadgroup);"
         "uint sum = 0; for (uint i = 0; i <= lid; i++)"
         "    sum += rows[i / 8].cells[i % 8].y + uint(rows[i / 8].isSet[i % 8] != (i % 2 == 0));"},
        {"by one thread, for all", "threadgroup uint sums[128]; sums[lid] = input[id];"
                                   "threadgroup_barrier(mem_flags::mem_threadgroup | mem_flags::mem_device);"
                                   "if (lid == 0) for (uint i = 1; i < 128; i++) sums[i] += sums[i - 1];"
                                   "threadgroup_barrier(mem_flags::mem_threadgroup); uint sum = sums[lid];"},
        {"in device memory behind a barrier", "out[id] = input[id]; threadgroup_barrier(mem_flags::mem_device);"
                                              "uint sum = 0; for (uint i = id - lid; i <= id; i++) sum += out[i];"
                                              "threadgroup_barrier(mem_flags::mem_device);"},
    };
    for (const auto& [name, body] : cases) {
        SCOPED_TRACE(name);
        std::vector<std::vector<std::byte>> buffers = {bytesOf(input), zeros<std::uint32_t>(input.size())};
        ASSERT_TRUE(runKernel(head + R"(
struct Row { uint2 cells[8]; bool isSet[8]; };
void shifted(threadgroup uint* to, threadgroup const uint* from, uint lid, uint step) {
    to[lid] = from[lid] + (lid >= step ? from[lid - step] : 0u);
    threadgroup_barrier(mem_flags::mem_threadgroup);
}
kernel void check(const device uint* input, device uint* out, threadgroup uint* scratch [[threadgroup(2)]],
                  uint id [[thread_position_in_grid]], uint lid [[thread_position_in_threadgroup]]) {
)" + body + "out[id] = sum; }",
                              buffers, std::uint32_t(input.size()),
                              {.threadgroup = {128, 1, 1}, .lengths = {{2, 512}}}));
        std::vector<std::uint32_t> expected(input.size());
        for (std::size_t i = 0; i < input.size(); ++i)
            expected[i] = input[i] + (i % 128 == 0 ? 0 : expected[i - 1]);
        EXPECT_EQ(valuesOf<std::uint32_t>(buffers[1]), expected);
    }
}

TEST(ThreadgroupMemory, BarriersAndFencesShowWhatOthersWrote) {
    // Neighbours exchange numbers: over the whole group behind a barrier, inside a simdgroup behind its own, and
    // through device memory, where the last thread to come finds what all the others left before their fence.
    std::vector<std::vector<std::byte>> buffers = {zeros<std::uint32_t>(threadCount), zeros<std::uint32_t>(threadCount),
                                                   zeros<std::uint32_t>(threadCount), zeros<std::uint32_t>(2)};
    ASSERT_TRUE(runKernel(head + R"(
kernel void check(device uint* far [[buffer(0)]], device uint* near [[buffer(1)]], device uint* left [[buffer(2)]],
                  device atomic_uint* end [[buffer(3)]], uint id [[thread_position_in_grid]],
                  uint count [[threads_per_threadgroup]], uint lane [[thread_index_in_simdgroup]],
                  uint width [[threads_per_simdgroup]]) {
    threadgroup uint shared[512];
    shared[id] = id * 3;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    far[id] = shared[count - 1 - id];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    shared[id] = id * 5;
    simdgroup_barrier(mem_flags::mem_threadgroup);
    near[id] = shared[id - lane + (width - 1 - lane)];
    left[id] = id + 1;
    atomic_thread_fence(mem_flags::mem_device, memory_order_seq_cst, thread_scope_device);
    if (atomic_fetch_add_explicit(&end[0], 1u, memory_order_relaxed) == count - 1) {
        atomic_thread_fence(mem_flags::mem_device, memory_order_seq_cst, thread_scope_device);
        uint sum = 0;
        for (uint i = 0; i < count; i++) sum += left[i];
        atomic_store_explicit(&end[1], sum, memory_order_relaxed);
        atomic_store_explicit(&end[0], width, memory_order_relaxed);
    }
})",
                          buffers, threadCount, {.threadgroup = {threadCount, 1, 1}}));
    const auto last = valuesOf<std::uint32_t>(buffers[3]);
    const std::uint32_t width = last[0];
    const auto far = valuesOf<std::uint32_t>(buffers[0]);
    const auto near = valuesOf<std::uint32_t>(buffers[1]);
    for (std::uint32_t id = 0; id < threadCount; ++id) {
        EXPECT_EQ(far[id], (threadCount - 1 - id) * 3);
        const std::uint32_t other = id / width * width + (width - 1 - id % width);
        if (other < threadCount) EXPECT_EQ(near[id], other * 5) << id;
    }
    EXPECT_EQ(last[1], threadCount * (threadCount + 1) / 2);
}

TEST(ThreadgroupMemory, SortsAndMultipliesInTiles) {
    // 512 numbers sorted by 256 threads; the partner of every exchange is another thread's.
    std::vector<std::int32_t> numbers(512);
    for (std::size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = std::int32_t(i * 7919 % 1009) - 500;
    std::vector<std::vector<std::byte>> sorted = {bytesOf(numbers)};
    ASSERT_TRUE(runKernel(head + R"(
void order(threadgroup int& a, threadgroup int& b, bool isUp) { if ((a > b) == isUp) { int t = a; a = b; b = t; } }
kernel void check(device int* data, uint lid [[thread_index_in_threadgroup]]) {
    threadgroup int a[512];
    for (uint i = lid; i < 512; i += 256) a[i] = data[i];
    for (uint size = 2; size <= 512; size <<= 1)
        for (uint stride = size / 2; stride > 0; stride >>= 1) {
            threadgroup_barrier(mem_flags::mem_threadgroup);
            uint low = 2 * stride * (lid / stride) + lid % stride;
            order(a[low], a[low + stride], (low & size) == 0);
        }
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint i = lid; i < 512; i += 256) data[i] = a[i];
})",
                          sorted, 256, {.threadgroup = {256, 1, 1}}));
    std::ranges::sort(numbers);
    EXPECT_EQ(valuesOf<std::int32_t>(sorted[0]), numbers);

    constexpr std::uint32_t n = 20; // not a multiple of the tile: the grid is rounded up to 24
    std::vector<float> a(n * n);
    std::vector<float> b(n * n);
    for (std::uint32_t i = 0; i < n * n; ++i) {
        a[i] = float(i % 7) - 3;
        b[i] = float(i % 5) - 2;
    }
    std::vector<std::vector<std::byte>> buffers = {bytesOf(a), bytesOf(b), zeros<float>(n * n)};
    ASSERT_TRUE(runKernel(head + R"(
constant constexpr uint side = 8;
constant uint n [[function_constant(0)]];
struct Tile { float cells[side][side + 1]; };
float cell(const device float* m, uint2 at) { return at.x < n && at.y < n ? m[at.y * n + at.x] : 0.0f; }
kernel void check(const device float* a, const device float* b, device float* c, uint2 p [[thread_position_in_grid]],
                  ushort2 l [[thread_position_in_threadgroup]]) {
    threadgroup Tile left, right;
    float sum = 0;
    for (uint t = 0; t < n; t += side) {
        left.cells[l.y][l.x] = cell(a, uint2(t + l.x, p.y));
        right.cells[l.y][l.x] = cell(b, uint2(p.x, t + l.y));
        threadgroup_barrier(mem_flags::mem_threadgroup);
        for (uint k = 0; k < side; k++) sum += left.cells[l.y][k] * right.cells[k][l.x];
        threadgroup_barrier(mem_flags::mem_threadgroup);
    }
    if (all(p < n)) c[p.y * n + p.x] = sum;
})",
                          buffers, 0, {.threadgroup = {8, 8, 1}, .grid = {n, n, 1}, .constants = {{64, 4, n}}}));
    const auto product = valuesOf<float>(buffers[2]);
    for (std::uint32_t y = 0; y < n; ++y) {
        for (std::uint32_t x = 0; x < n; ++x) {
            float expected = 0;
            for (std::uint32_t k = 0; k < n; ++k)
                expected += a[y * n + k] * b[k * n + x];
            ASSERT_EQ(product[y * n + x], expected) << x << ", " << y;
        }
    }
}

// A kernel that leaves its marks in threadgroup memory, and one that must not find them.
TEST(ThreadgroupMemory, StartsAsZeroAndEndsAtItsLength) {
    const std::string arguments = "(device uint* out, threadgroup uint* given [[threadgroup(0)]],"
                                  " uint id [[thread_position_in_grid]]) { threadgroup uint own[512];\n";
    for (const std::string body :
         {"own[id] = 99; given[id] = 99; out[id] = own[id] + given[id];", "out[id] = own[id] + given[id];",
          // 128 bytes are 32 elements: an index beyond is the last one
          "given[id + 1000] = 5; own[id + 4096] = 7;"
          "threadgroup_barrier(mem_flags::mem_threadgroup);"
          "out[id] = (id == 31 ? given[id] : 0) + (id == 0 ? own[511] : 0) + own[256 + id];"}) {
        SCOPED_TRACE(body);
        std::vector<std::vector<std::byte>> buffers = {zeros<std::uint32_t>(32)};
        ASSERT_TRUE(runKernel(head + "kernel void check" + arguments + body + "}", buffers, 32,
                              {.threadgroup = {32, 1, 1}, .lengths = {{0, 128}}}));
        const auto out = valuesOf<std::uint32_t>(buffers[0]);
        if (body.starts_with("own"))
            EXPECT_EQ(out[5], 198U);
        else if (body.starts_with("out"))
            EXPECT_EQ(out, std::vector<std::uint32_t>(32));
        else
            EXPECT_EQ(out[0] + out[31], 12U);
    }
}

// -------------------------------------------------------------------------------------------------- attributes

TEST(ThreadAttributes, SayWhichThreadThisIs) {
    // 12 x 8 x 2 threads asked for, in groups of 8 x 4 x 1: the grid is rounded up to 16 x 8 x 2.
    constexpr std::uint32_t total = 16 * 8 * 2;
    std::vector<std::vector<std::byte>> buffers = {zeros<std::uint32_t>(total * 32)};
    ASSERT_TRUE(runKernel(head + R"(
kernel void check(device uint* out, uint3 p [[thread_position_in_grid]], uint2 p2 [[thread_position_in_grid]],
    ushort3 inGroup [[thread_position_in_threadgroup]], ushort index [[thread_index_in_threadgroup]],
    uint3 group [[threadgroup_position_in_grid]], ushort2 groupSize [[threads_per_threadgroup]],
    uint3 grid [[threads_per_grid]], uint3 groups [[threadgroups_per_grid]], uint lane [[thread_index_in_simdgroup]],
    uint simd [[simdgroup_index_in_threadgroup]], uint width [[threads_per_simdgroup]],
    ushort simds [[simdgroups_per_threadgroup]], uint inQuad [[thread_index_in_quadgroup]],
    uint quad [[quadgroup_index_in_threadgroup]], uint quads [[quadgroups_per_threadgroup]],
    uint dispatched [[dispatch_threads_per_threadgroup]], uint executionWidth [[thread_execution_width]]) {
    uint values[] = {p.x, p.y, p.z, p2.x, p2.y, inGroup.x, inGroup.y, inGroup.z, index, group.x, group.y, group.z,
                     groupSize.x, groupSize.y, grid.x, grid.y, grid.z, groups.x, groups.y, groups.z, simd * width + lane,
                     simds * width, quad * 4 + inQuad, quads, dispatched, uint(executionWidth == width)};
    uint at = ((p.z * grid.y + p.y) * grid.x + p.x) * 32;
    for (uint i = 0; i < 26; i++) out[at + i] = values[i];
})",
                          buffers, 0, {.threadgroup = {8, 4, 1}, .grid = {12, 8, 2}}));
    const auto out = valuesOf<std::uint32_t>(buffers[0]);
    for (std::uint32_t i = 0; i < total; ++i) {
        const std::uint32_t x = i % 16;
        const std::uint32_t y = i / 16 % 8;
        const std::uint32_t z = i / 128;
        const std::uint32_t inGroup = y % 4 * 8 + x % 8;
        const std::array<std::uint32_t, 26> expected = {x,     y,     z,       x,  y,       x % 8, y % 4, 0, inGroup,
                                                        x / 8, y / 4, z,       8,  4,       16,    8,     2, 2,
                                                        2,     2,     inGroup, 32, inGroup, 8,     8,     1};
        for (std::size_t k = 0; k < expected.size(); ++k)
            ASSERT_EQ(out[i * 32 + k], expected[k]) << "value " << k << " of thread " << x << ", " << y << ", " << z;
    }
}

// ------------------------------------------------------------------------------------------ function constants

TEST(FunctionConstants, AreWhatTheHostGivesElseZeroAndNotDefined) {
    const std::string source = head + R"(
constant bool isBig [[function_constant(0)]];
constant int count [[function_constant(1)]];
constant float3 tint [[function_constant(2)]];
constant half small [[function_constant(3)]];
constant ushort few [[function_constant(300)]];
constant ulong wide [[function_constant(5)]];
constant int steps = is_function_constant_defined(count) ? count : 3;
constant bool isScaled = isBig && is_function_constant_defined(small);
constant float scale = isScaled ? float(small) * 2.0f : 1.0f;
template <typename T> T doubled(T x) { return is_function_constant_defined(few) ? x * T(few) : x * T(2); }
kernel void check(device float* out, constant float* unused [[buffer(1), function_constant(isBig)]]) {
    float sum = 0;
    for (int i = 0; i < steps; i++) sum += i;
    if (isBig) sum += 1000;
    out[0] = sum;
    out[1] = tint.x + tint.y * 10 + tint.z * 100;
    out[2] = scale;
    out[3] = doubled(7.0f);
    out[4] = float(wide >> 32);
    switch (count) { case 6: out[5] = 1; break; default: out[5] = 2; }
})";
    const auto f = [](float value) { return std::uint64_t{std::bit_cast<std::uint32_t>(value)}; };
    const auto id = [](std::uint32_t index, std::uint32_t part = 0) { return 64 + 8 * index + part; };
    struct {
        std::vector<gpu::ConstantValue> given;
        std::vector<float> expected;
    } const cases[] = {
        {{}, {3, 0, 1, 14, 0, 2}},
        {{{id(1), 4, 6}, {id(1, 7), 4, 1}}, {15, 0, 1, 14, 0, 1}},
        {{{id(0), 4, 1},
          {id(0, 7), 4, 1},
          {id(2), 4, f(1)},
          {id(2, 1), 4, f(2)},
          {id(2, 2), 4, f(3)},
          {id(3), 2, 0x4000}, // 2.0
          {id(3, 7), 4, 1},
          {id(300), 2, 5},
          {id(300, 7), 4, 1},
          {id(5), 8, 9ULL << 32U}},
         {1003, 321, 4, 35, 9, 2}},
    };
    for (const auto& [given, expected] : cases) {
        std::vector<std::vector<std::byte>> buffers = {zeros<float>(6), zeros<float>(1)};
        ASSERT_TRUE(runKernel(source, buffers, 1, {.threadgroup = {1, 1, 1}, .constants = given}));
        EXPECT_EQ(valuesOf<float>(buffers[0]), expected);
    }
}

} // namespace
} // namespace glasshob
