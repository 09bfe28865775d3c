// Memory that a kernel reaches by 64-bit addresses which the host put into buffers, on the device.
#include "GlassHobRender/tests/Kernels.h"

#include <bit>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";

// The buffers that a program reaches by address. Their bytes go in when they are made.
class Addressed {
  public:
    template <typename T>
    std::uint64_t add(const std::vector<T>& values) {
        buffers_.push_back(*device()->makeBuffer(values.size() * sizeof(T), gpu::StorageMode::shared));
        std::memcpy(buffers_.back()->contents(), values.data(), values.size() * sizeof(T));
        return buffers_.back()->address();
    }
    template <typename T>
    const T* contents(std::size_t buffer) const {
        return static_cast<const T*>(buffers_[buffer]->contents());
    }

  private:
    std::vector<std::shared_ptr<gpu::Buffer>> buffers_;
};

bool run(const std::string& source, std::vector<std::vector<std::byte>>& buffers, std::uint32_t threads = 1) {
    return runKernel(head + source, buffers, threads, {.threadgroup = {1, 1, 1}, .allowAddresses = true});
}

TEST(Addresses, PointersInAnArgumentBuffer) {
    Addressed memory;
    struct Args {
        std::uint64_t data, matrices, self, none;
        std::uint32_t count, padding;
    };
    std::vector<float> matrix(32);
    matrix[16 + 5] = 7;
    Args args{.data = memory.add(std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8}),
              .matrices = memory.add(matrix),
              .self = 0,
              .none = 0,
              .count = 8,
              .padding = 0};
    args.self = memory.add(std::vector{args});
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector{args}), bytesOf(std::vector<float>(12))};
    ASSERT_TRUE(run(R"(
struct Args { device float* data; constant float4x4* matrices; device Args* self; device float* none; uint count; };
float total(device const float* p, uint n) { float s = 0; for (uint i = 0; i < n; i++) s += *p++; return s; }
void put(device float& x, float y) { x = y; }
kernel void check(constant Args& args [[buffer(0)]], device float* out [[buffer(1)]]) {
    out[0] = args.data[3];
    out[1] = args.matrices[1][1].y;
    out[2] = total(args.data, args.count);
    device Args* self = args.self;
    out[3] = self->data[self->count - 1];
    out[4] = args.none == nullptr ? 1 : 0;
    out[5] = args.none ? *args.none : -1;
    device float* end = args.data + args.count;
    out[6] = float(end - args.data) + (end > args.data ? 100 : 0) + (self->data == args.data ? 1000 : 0);
    put(args.data[1], 20);
    device uint* bits = (device uint*)args.data;
    bits[2] = 0x40e00000;
    device float4* wide = reinterpret_cast<device float4*>(args.data) + 1;
    wide->w = 80;
    out[7] = wide[-1].w;
    Args copy = args;
    copy.data += 4;
    out[8] = copy.data[0];
    device float* one = args.count == 8 ? args.data : out;
    out[9] = one[4];
    atomic_fetch_add_explicit((device atomic_uint*)&bits[4], 1, memory_order_relaxed);
    out[10] = as_type<float>(bits[4] - 1);
    self->none = args.data + 1;
    out[11] = *self->none;
})",
                    buffers));
    const std::vector<float> expected = {4, 7, 36, 8, 1, -1, 8 + 100 + 1000, 4, 5, 5, 5, 20};
    EXPECT_EQ(valuesOf<float>(buffers[1]), expected);
    EXPECT_EQ(memory.contents<float>(0)[1], 20);
    EXPECT_EQ(memory.contents<float>(0)[2], 7);
    EXPECT_EQ(memory.contents<float>(0)[7], 80);
    EXPECT_EQ(memory.contents<Args>(2)->none, args.data + 4);
}

TEST(Addresses, PointersBehindPointersAndNumbersAsAddresses) {
    Addressed memory;
    struct Node {
        std::uint64_t next, values;
        std::int32_t count, padding;
    };
    const std::uint64_t second = memory.add(std::vector{Node{0, memory.add(std::vector<std::int32_t>{10, 20}), 2, 0}});
    const std::uint64_t first =
        memory.add(std::vector{Node{second, memory.add(std::vector<std::int32_t>{1, 2, 3}), 3, 0}});
    const std::uint64_t numbers = memory.add(std::vector<float>{5, 6, 7});
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint64_t>{first, second}),
                                                   bytesOf(std::vector<std::uint64_t>{numbers, numbers + 4}),
                                                   bytesOf(std::vector<std::int32_t>(8))};
    ASSERT_TRUE(run(R"(
struct Node { device Node* next; device const int* values; int count; };
int sum(device const Node* node) {
    int s = 0;
    while (node) {
        for (int i = 0; i < node->count; i++) s += node->values[i];
        node = node->next;
    }
    return s;
}
template <typename T> T at(ulong address, int i) { return ((device const T*)address)[i]; }
kernel void check(device Node* const device* nodes [[buffer(0)]], device const ulong* addresses [[buffer(1)]],
                  device int* out [[buffer(2)]]) {
    out[0] = sum(nodes[0]);
    out[1] = sum(nodes[1]);
    out[2] = int(at<float>(addresses[0], 2));
    out[3] = int(*reinterpret_cast<device float*>(addresses[1]));
    device Node* node = nodes[0];
    out[4] = node->next == nodes[1] ? 1 : 0;
    ulong number = reinterpret_cast<ulong>(node->next->values);
    out[5] = ((device int*)number)[1];
    device const int* lists[2] = {nodes[0]->values, nodes[1]->values};
    for (int i = 0; i < 2; i++) out[6] += lists[i][1];
    out[7] = nodes[out[4]]->count;
})",
                    buffers));
    EXPECT_EQ(valuesOf<std::int32_t>(buffers[2]), (std::vector<std::int32_t>{36, 30, 7, 6, 1, 20, 22, 2}));
}

TEST(Addresses, AreRefusedByNameUnlessAllowed) {
    for (const char* text : {"kernel void f(device float* device* p [[buffer(0)]]) { *p[0] = 1; }",
                             "kernel void f(device ulong* p [[buffer(0)]]) { *(device float*)p[0] = 1; }",
                             "struct In { device float* p; }; struct A { device In* in [[id(0)]]; };\n"
                             "kernel void f(device A& a [[buffer(0)]]) { a.in->p[0] = 1; }"}) {
        const auto refused = msl::compile(head + text);
        ASSERT_FALSE(refused) << text;
        EXPECT_NE(refused.error().text.find("--allow-addresses"), std::string::npos) << refused.error().text;
        const auto taken = msl::compile(head + text, {.allowAddresses = true});
        ASSERT_TRUE(taken) << taken.error().text;
        EXPECT_TRUE(taken->reflection.usesAddresses);
    }
}

} // namespace
} // namespace glasshob
