// Programs about pointers and references; see class-checks.metal for how a section checks itself.

//= pointers into arrays
struct P { float v[5]; float2 w; };
float total(thread const float* p, int n) { float s = 0; for (int i = 0; i < n; i++) s += p[i]; return s; }
float walk(thread float* p, thread float* end) { float s = 0; while (p != end) s += *p++; return s; }
void fill(thread float* p, int n, float x) { for (int i = 0; i < n; ++i) *p++ = x + i; }
int find(device const int* p, int n, int x) {
    device const int* q = p;
    for (; q < p + n; ++q)
        if (*q == x) return int(q - p);
    return -1;
}
MAIN {
    float a[6] = {1, 2, 3, 4, 5, 6};
    CHECK(total(a, 6) == 21 && total(a + 2, 2) == 7 && total(&a[data[3]], 2) == 9);
    CHECK(walk(a, a + 6) == 21 && walk(a + data[1], a + 3) == 5);
    thread float* p = a;
    CHECK(*p == 1 && p[2] == 3 && *(p + 3) == 4 && *++p == 2 && *p++ == 2 && *p == 3);
    p += data[2];
    CHECK(*p == 5 && p - a == 4 && p > a && p <= a + 4 && p[-1] == 4);
    p = a;
    CHECK(*p == 1);
    p = &a[data[5]];
    CHECK(*p == 6);
    --p;
    *p = 50;
    CHECK(a[4] == 50);
    p -= 2;
    *p-- += 1;
    CHECK(a[2] == 4 && *p == 2);
    fill(a + 1, 3, 10);
    CHECK(a[1] == 10 && a[3] == 12 && a[4] == 50);
    CHECK(find(data, 16, 9) == 9 && find(data + 4, 3, 9) == -1);
    P s[3] = {};
    thread float* q = s[data[1]].v;
    q[2] = 5;
    q++;
    *q = 4;
    CHECK(s[1].v[2] == 5 && s[1].v[1] == 4 && s[0].v[1] == 0);
    q = &s[data[2]].v[3];
    *q = 7;
    CHECK(s[2].v[3] == 7);
    q = s[data[0]].v;
    q[4] = 8;
    CHECK(s[0].v[4] == 8);
    thread P* ps = s;
    ps++;
    ps->v[0] = 3;
    CHECK(s[1].v[0] == 3 && (*ps).v[0] == 3);
    ps[data[1]].w.y = 9;
    CHECK(s[2].w.y == 9);
    thread float2* pw = &s[data[2]].w;
    pw->x = 6;
    (*pw) += 1;
    CHECK(s[2].w.x == 7 && s[2].w.y == 10);
    thread float* later;
    later = a;
    CHECK(later[0] == 1);
    float m[2][3] = {{1, 2, 3}, {4, 5, 6}};
    thread float* row = m[data[1]];
    CHECK(row[2] == 6);
    row = m[0];
    CHECK(row[1] == 2);
    thread float (*rows)[3] = m;
    CHECK(rows[data[1]][1] == 5);
}

//= a pointer chosen at run time
struct S { int v[4]; int k; };
thread int& choose(thread S& s, int i) { if (i == 0) return s.v[3]; return s.v[i - 1]; }
thread int* where(thread S& s, int i) {
    for (int k = 0; k < 4; k++)
        if (s.v[k] == i) return &s.v[k];
    return &s.v[0];
}
device const int* after(device const int* p, int x) { while (*p != x) ++p; return p + 1; }
device const int& larger(device const int& a, device const int& b) { return a; }
thread S& nth(thread S* all, int i) { if (i > 1) { return all[1]; } else { return all[i]; } }
MAIN {
    int a[4] = {1, 2, 3, 4};
    thread int* p = data[1] == 1 ? &a[1] : &a[3];
    CHECK(*p == 2);
    *(data[0] == 1 ? p : p + 1) = 30;
    CHECK(a[2] == 30);
    if (data[2] > 1) p = &a[3]; else p = &a[0];
    CHECK(*p == 4);
    S s = {{5, 6, 7, 8}, 9};
    choose(s, data[0]) = 80;
    choose(s, data[2]) += 1;
    CHECK(s.v[3] == 80 && s.v[1] == 7);
    *where(s, 7) = 70;
    CHECK(s.v[1] == 70 || s.v[2] == 70);
    CHECK(*where(s, 1000) == 5);
    CHECK(*after(data, 5 + data[0]) == 6);
    CHECK(larger(data[3], data[4]) == 3);
    S two[2] = {{{1, 2, 3, 4}, 5}, {{6, 7, 8, 9}, 10}};
    nth(two, data[2]).k = 11;
    nth(two, data[0]).v[data[1]] = 22;
    CHECK(two[1].k == 11 && two[0].v[1] == 22);
    (data[1] == 1 ? a[0] : a[1]) = 77;
    CHECK(a[0] == 77);
    for (int i = 0; i < 3; i++) {
        thread int* q = i == 1 ? a : a + 1;
        *q = i;
    }
    CHECK(a[0] == 1 && a[1] == 2);
    int x = 5;
    thread int* px = &x;
    thread int* none = nullptr;
    CHECK(px != nullptr && none == nullptr && px && !none);
    if (px) *px = 6;
    CHECK(x == 6 && px == &x);
}

//= pointers in structs
struct Span {
    device const int* begin;
    int n;
    int at(int i) const { return begin[i]; }
};
struct Writer { thread float* out; int used; };
void put(thread Writer& w, float x) { w.out[w.used++] = x; }
void push(thread Writer& w, float x) { *w.out++ = x; w.used++; }
Writer advance(Writer w, int by) { w.out += by; return w; }
int sum(Span s) { int t = 0; for (int i = 0; i < s.n; i++) t += s.at(i); return t; }
Span tail(Span s, int k) { Span r = s; r.begin += k; r.n -= k; return r; }
Span make(device const int* p, int n) { if (n < 0) return Span{p, 0}; return Span{p + 1, n - 1}; }
struct Two { Span a, b; };
MAIN {
    Span s = {data + 1, 4};
    CHECK(sum(s) == 10 && s.at(data[2]) == 3);
    CHECK(sum(tail(s, 2)) == 7 && sum(tail(s, data[3])) == 4);
    CHECK(sum(make(data, data[4])) == 6 && sum(make(data, data[0] - 1)) == 0);
    float a[4] = {};
    Writer w = {a, 0};
    put(w, 5);
    put(w, 6 + data[0]);
    CHECK(a[0] == 5 && a[1] == 6 && w.used == 2);
    w.out = a + 2;
    push(w, 7);
    push(w, 8);
    CHECK(a[2] == 7 && a[3] == 8 && w.used == 4);
    Writer v = advance(Writer{a, 0}, data[1]);
    v.out[0] = 9;
    CHECK(a[1] == 9);
    Two two = {s, {data + 8, 2}};
    CHECK(sum(two.a) + sum(two.b) == 27);
    two.b.n = data[3];
    CHECK(sum(two.b) == 27);
    Two copy = two;
    copy.a.begin = data + 5;
    CHECK(copy.a.at(0) == 5 && two.a.at(0) == 1);
}

//= memory seen as another type
kernel void check(device uint* failed [[buffer(0)]], device int* data [[buffer(1)]], device float* f [[buffer(2)]],
                  constant float4* c [[buffer(3)]], uint thread_number [[thread_position_in_grid]]) {
    if (thread_number != 0) return;
    device uint* u = reinterpret_cast<device uint*>(f);
    CHECK(u[1] == 0x3f800000u);
    u[2] = 0x40400000u;
    CHECK(f[2] == 3);
    device float4* v = (device float4*)f;
    CHECK(v[1].x == 4 && v[data[1]].w == 7);
    v[data[2]] = float4(1, 2, 3, 4) * 10;
    CHECK(f[8] == 10 && f[11] == 40);
    device packed_float3* p3 = (device packed_float3*)(f + data[4]);
    CHECK(p3[0].z == 6);
    p3[1] = float3(70, 80, 90);
    CHECK(f[7] == 70 && f[9] == 90);
    device uchar* b = (device uchar*)data;
    CHECK(b[4] == 1 && b[8] == 2);
    b[9] = 1;
    CHECK(data[2] == 258);
    data[2] = 2;
    struct Pair { float a, b; };
    device Pair* pairs = reinterpret_cast<device Pair*>(f + 4);
    CHECK(pairs->b == 5 && pairs[1].a == 6);
    device float* inside = (device float*)&pairs[1];
    CHECK(inside[0] == 6);
    CHECK(((constant float*)c)[5] == 5 && reinterpret_cast<constant packed_float2*>(c)[1].x == 2);
    device const float* ro = f;
    device float* rw = const_cast<device float*>(ro);
    rw[0] = 3;
    CHECK(f[0] == 3);
}

//= a variable seen as another type
MAIN {
    float x = 1.0 + data[0];
    CHECK(*(thread uint*)&x == 0x3f800000u);
    *reinterpret_cast<thread int*>(&x) = 0x40000000;
    CHECK(x == 2);
    uint4 w = uint4(0x3f800000u + uint(data[0]));
    CHECK(all(*(thread float4*)&w == float4(1)));
    float4 q = float4(1, 2, 3, 4 + data[0]);
    thread float* parts = (thread float*)&q;
    CHECK(parts[2] == 3 && parts[data[3]] == 4);
    parts[data[1]] = 20;
    CHECK(q.y == 20);
}

//= references
float& ignoredDecl(thread float& x);
thread float& idRef(thread float& x) { return x; }
thread float& at(thread float (&a)[4], int i) { return a[i]; }
void both(thread float& a, thread float2& b) { a += 1; b *= a; }
void three(thread float3& v) { v.x = 1; v.yz = float2(2, 3); }
float readc(const thread float& x) { return x; }
float readDevice(device const int& x) { return float(x); }
template <typename T> void swapThem(thread T& a, thread T& b) { T t = a; a = b; b = t; }
MAIN {
    float x = 1 + data[0];
    thread float& r = x;
    r = 5;
    idRef(x) += 2;
    CHECK(x == 7);
    float a[4] = {1, 2, 3, 4};
    at(a, data[2]) = 30;
    CHECK(a[2] == 30);
    float2 v = float2(1, 2);
    both(a[data[1]], v);
    CHECK(a[1] == 3 && v.y == 6);
    float3 m[2];
    three(m[data[1]]);
    CHECK(m[1].z == 3);
    CHECK(readc(x + 1) == 8 && readc(3) == 3 && readDevice(data[4]) == 4);
    swapThem(a[0], a[3]);
    CHECK(a[0] == 4 && a[3] == 1);
    swapThem(v, v);
    thread auto& ar = a[data[3]];
    ar = 11;
    CHECK(a[3] == 11);
    const thread float& cr = a[3];
    a[3] = 12;
    CHECK(cr == 12);
    device int& d = data[7];
    d = 70;
    CHECK(data[7] == 70);
    d = 7;
    for (thread float& e : a) e *= 2;
    CHECK(a[0] == 8 && a[3] == 24);
    float s = 0;
    for (float e : a) s += e;
    for (auto e : a) s += e;
    for (const thread auto& e : a) s -= e;
    CHECK(s == 8 + 6 + 60 + 24);
}

//= array<T, N>
float sumUp(array<float, 4> a) { float s = 0; for (auto x : a) s += x; return s; }
void setAll(thread array<float, 4>& a, float v) { for (uint i = 0; i < a.size(); i++) a[i] = v; }
struct Has { array<int, 3> v; array<array<int, 2>, 2> w; };
template <typename T, size_t N> T first(array<T, N> a) { return a[0] + T(N); }
constant array<int, 3> fixed = {7, 8, 9};
MAIN {
    array<float, 4> a = {1, 2, 3, 4};
    CHECK(sumUp(a) == 10 && a.size() == 4 && a[data[2]] == 3);
    setAll(a, 5 + data[0]);
    CHECK(sumUp(a) == 20);
    array<float, 4> b = a;
    b[0] = 1;
    CHECK(a[0] == 5);
    a = b;
    CHECK(a[0] == 1 && a.front() == 1 && a.back() == 5);
    thread float* p = a.data();
    p[1] = 9;
    CHECK(a[1] == 9);
    setAll(a, 3);
    CHECK(sumUp(a) == 12 && !a.empty() && a.max_size() == 4);
    a.at(data[1]) = 3;
    float s = 0;
    for (auto i = a.begin(); i != a.end(); ++i) s += *i;
    CHECK(s == 12);
    Has h = {{1, 2, 3}, {{{1, 2}, {3, 4}}}};
    CHECK(h.v[data[1]] == 2 && h.w[1][data[1]] == 4);
    CHECK(first(h.v) == 4 && fixed[data[2]] == 9 && first(fixed) == 10);
    metal::array<int2, 2> c = {int2(1), int2(2)};
    CHECK(c[1].y == 2 && c.at(1).x == 2);
}
