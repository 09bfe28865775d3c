// Programs that look at variables of the thread and of the threadgroup as another type; see class-checks.metal.

//= numbers and vectors
float bitsToFloat(uint u) { return *(thread float*)&u; }
uint lowHalf(float x) { return ((thread ushort*)&x)[0]; }
template <typename T, typename F> T pun(F f) { return *reinterpret_cast<thread T*>(&f); }
int firstByte(thread const void* p) { return *(thread const uchar*)p; }
MAIN {
    float x = 1.0 + data[0];
    uint one = uint(data[1]);
    CHECK(*(thread int*)&x == 0x3f800000 && bitsToFloat(0x40000000 + one - 1) == 2 && lowHalf(x + 0.5f) == 0);
    CHECK(((thread uchar*)&x)[3] == 0x3f && ((thread uchar*)&x)[1 + one] == 0x80);
    CHECK(pun<uint>(2.0f) == 0x40000000 && pun<float2>(uint2(0x3f800000, one)).x == 1 && pun<half2>(0x3c00u).x == 1);
    ((thread ushort*)&x)[one] = 0x4000;
    CHECK(x == 2);
    uint word = 0x01020304u + uint(data[0]);
    thread uchar* bytes = (thread uchar*)&word;
    CHECK(bytes[0] == 4 && bytes[3] == 1 && bytes[data[2]] == 2 && firstByte(&word) == 4);
    bytes[data[1]] = 0xff;
    CHECK(word == 0x0102ff04u);
    uchar4 four = uchar4(1, 2, 3, 4) + uchar(data[0]);
    CHECK(*(thread uint*)&four == 0x04030201u);
    *(thread uint*)&four = 0x0a0b0c0d;
    CHECK(four.x == 13 && four.w == 10);
    float4 v = float4(1, 2, 3, 4 + data[0]);
    thread float2* pairs = (thread float2*)&v;
    CHECK(pairs[1].x == 3 && pairs[data[1]].y == 4);
    pairs[data[1]] = float2(7, 8);
    CHECK(v.z == 7 && v.w == 8);
    float3 three = float3(1, 2, 3 + data[0]);
    thread float* t = (thread float*)&three;
    float sum = 0;
    for (int i = 0; i < 3; i++) sum += t[i];
    CHECK(sum == 6);
    float3x3 m = float3x3(1 + data[0]);
    thread float* cells = (thread float*)&m;
    CHECK(cells[0] == 1 && cells[5] == 1 && cells[4 + data[1]] == 1 && cells[4] == 0);
    ulong wide = 0x1122334455667788ul + ulong(data[0]);
    CHECK(((thread uint*)&wide)[1] == 0x11223344 && ((thread ushort*)&wide)[data[2]] == 0x3344);
    ((thread uint*)&wide)[data[0]] = 5;
    CHECK(wide == 0x1122334400000005ul);
    half h[4] = {1, 2, 3, 4};
    h[0] += data[0];
    CHECK(((thread half2*)h)[1].y == 4 && ((thread uint*)h)[data[0]] == 0x40003c00);
}

//= arrays
void copyWords(thread uint* to, thread const uint* from, int n) { for (int i = 0; i < n; i++) to[i] = from[i]; }
float total(thread const float4* v, int n) { float4 s = 0; for (int i = 0; i < n; i++) s += v[i]; return s.x + s.y + s.z + s.w; }
MAIN {
    float f[8];
    for (int i = 0; i < 8; i++) f[i] = float(i + 1);
    thread float4* v = (thread float4*)f;
    CHECK(v[1].x == 5 && v[data[1]].w == 8 && total((thread float4*)f, 2) == 36);
    v[data[0]] = float4(10, 20, 30, 40);
    CHECK(f[0] == 10 && f[3] == 40 && f[4] == 5);
    v++;
    v->y = 60;
    CHECK(f[5] == 60);
    uint words[8];
    copyWords(words, (thread const uint*)f, 8);
    CHECK(words[0] == as_type<uint>(10.0f) && words[7] == as_type<uint>(8.0f));
    thread uchar* bytes = reinterpret_cast<thread uchar*>(words);
    for (int i = 0; i < 32; i++) bytes[i] = uchar(i);
    CHECK(words[0] == 0x03020100 && words[7] == 0x1f1e1d1c);
    float3 points[2] = {float3(1, 2, 3), float3(4, 5, 6 + data[0])};
    thread float* flat = (thread float*)points;
    CHECK(flat[4] == 4 && flat[4 + data[2]] == 6 && flat[data[2]] == 3);
    flat[data[3]] = 99; // behind the third component
    CHECK(points[0].z == 3 && points[1].x == 4);
    packed_float3 packed[2] = {packed_float3(1, 2, 3), packed_float3(4, 5, 6)};
    flat = (thread float*)packed;
    CHECK(flat[3] == 4 && flat[data[4]] == 5);
    flat[data[2]] = 30;
    CHECK(packed[0].z == 30);
    int grid[2][3] = {{1, 2, 3}, {4, 5, 6 + data[0]}};
    thread int* line = (thread int*)grid;
    CHECK(line[4] == 5 && line[data[5]] == 6);
    thread int* row = &grid[0][0];
    CHECK(((thread uint*)row)[data[2]] == 3);
}

//= structs
struct Head { ushort kind; ushort length; };
struct Mixed { float a; uchar b[4]; Head head; bool on; uint2 pair; half h; int last; };
struct Words { uint w[8]; };
uint hash(thread const Mixed& m) {
    thread const uint* p = (thread const uint*)&m;
    uint h = 0;
    for (uint i = 0; i < sizeof(Mixed) / 4; i++) h = h * 31 + p[i];
    return h;
}
MAIN {
    Mixed m = {1.0f + data[0], {1, 2, 3, 4}, {5, 6}, true, uint2(7, 8), 1.0h, 9};
    thread uint* w = (thread uint*)&m;
    CHECK(w[0] == 0x3f800000 && w[1] == 0x04030201 && w[2] == 0x00060005 && w[4] == 7 && w[5] == 8 && w[7] == 9);
    CHECK((w[3] & 0xff) == 1 && (w[6] & 0xffff) == 0x3c00);
    uint s = 0;
    for (int i = 0; i < 8; i++) if (i != 3 && i != 6) s += w[i];
    CHECK(s == 0x3f800000u + 0x04030201u + 0x00060005u + 7 + 8 + 9);
    w[data[1]] = 0x0a0b0c0d;
    CHECK(m.b[0] == 13 && m.b[3] == 10);
    w[data[2]] = 0x00010002;
    CHECK(m.head.kind == 2 && m.head.length == 1);
    ((thread uchar*)&m)[12] = 0;
    CHECK(!m.on && m.pair.x == 7);
    ((thread uchar*)&m)[data[12]] = 1;
    CHECK(m.on);
    ((thread ushort*)&m)[12] = 0x4000;
    CHECK(m.h == 2 && m.last == 9);
    Words copy = *(thread Words*)&m;
    CHECK(copy.w[7] == 9 && copy.w[0] == 0x3f800000 && hash(m) == hash(m));
    Mixed back = *(thread Mixed*)&copy;
    CHECK(back.pair.y == 8 && back.b[1] == 12);
    Mixed all[2] = {m, m};
    all[1].last = 90;
    thread int* ints = (thread int*)all;
    CHECK(ints[15] == 90 && ints[data[7]] == 9 && ints[data[15]] == 90);
    thread float* a = &all[data[1]].a;
    ((thread uint*)a)[7] = 70;
    CHECK(all[1].last == 70);
    const Mixed fixed = m;
    CHECK(((thread const int*)&fixed)[7] == 9);
}

//= threadgroup memory
struct Item { float a; uint n; packed_float3 p; };
kernel void check(device uint* failed [[buffer(0)]], device int* data [[buffer(1)]],
                  uint thread_number [[thread_position_in_grid]]) {
    threadgroup Item items[4];
    threadgroup uint words[8];
    threadgroup float4 wide[4];
    if (thread_number != 0) return;
    items[1] = Item{2, 3, packed_float3(4, 5, 6)};
    threadgroup float* f = (threadgroup float*)items;
    CHECK(f[5] == 2 && f[7 + data[2]] == 6 && ((threadgroup uint*)items)[6] == 3);
    f[data[5]] = 20;
    ((threadgroup uint*)&items[2])[1] = 30;
    CHECK(items[1].a == 20 && items[2].n == 30);
    threadgroup uchar* bytes = reinterpret_cast<threadgroup uchar*>(words);
    for (int i = 0; i < 32; i++) bytes[i] = uchar(i * 3);
    CHECK(words[0] == 0x09060300 && words[7] == 0x5d5a5754);
    threadgroup float* flat = (threadgroup float*)wide;
    for (int i = 0; i < 16; i++) flat[i] = float(i);
    CHECK(wide[2].y == 9 && wide[data[3]].w == 15);
    CHECK(atomic_fetch_add_explicit((threadgroup atomic_uint*)&items[2].n, 5, memory_order_relaxed) == 30);
    CHECK(items[2].n == 35);
}

//= constants
constant float table[4] = {1, 2, 3, 4};
struct Pair { uint a; float b; };
constant Pair pairs[2] = {{1, 2}, {3, 4}};
MAIN {
    CHECK(((constant uint*)table)[data[1]] == 0x40000000 && ((constant uint*)pairs)[data[3]] == 0x40800000);
    CHECK((*(constant float2*)&table[data[2]]).y == 4);
}
