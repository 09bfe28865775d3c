// Programs about classes: each section is a source of its own that checks itself on the device. A section begins with
// "//= its name". CHECK notes the first line that does not hold; data[i] is i, so that data[0] is a zero that no compiler can see.

//= members defined outside of their struct
struct Ray {
    float3 o, d;
    Ray(float3 origin, float3 direction);
    float3 at(float t) const;
    void move(float t);
    static float twice(float x);
    static constant float unit;
};
constant float Ray::unit = 0.5;
Ray::Ray(float3 origin, float3 direction) : o(origin), d(direction) { o += 1.0; }
float3 Ray::at(float t) const { return o + t * d; }
void Ray::move(float t) { o = at(t); }
float Ray::twice(float x) { return x * 2; }
namespace shapes {
struct Box {
    struct Corner { float v; };
    Corner corner(float x) const;
    float size;
};
}
shapes::Box::Corner shapes::Box::corner(float x) const { Corner c = {x * size}; return c; }
template <typename T>
struct Pair {
    T a, b;
    T sum() const;
    thread Pair& add(T x);
};
template <typename T>
T Pair<T>::sum() const { return a + b; }
template <typename U>
thread Pair<U>& Pair<U>::add(U x) { a += x; return *this; }
MAIN {
    Ray r(float3(data[0]), float3(1, 2, 3));
    CHECK(all(r.at(2) == float3(3, 5, 7)));
    r.move(1);
    CHECK(all(r.o == float3(2, 3, 4)));
    CHECK(Ray::twice(r.o.x) == 4);
    CHECK(Ray::unit == 0.5);
    shapes::Box box = {3};
    CHECK(box.corner(2).v == 6);
    Pair<int> p = {1, data[2]};
    CHECK(p.sum() == 3);
    CHECK(p.add(4).sum() == 7);
}

//= static members
struct Config {
    static constexpr constant int count = 4;
    static constexpr int half_count = count / 2;
    static constant float weights[3];
    enum Mode { flat, wavy = 5 };
    enum class Tone : uchar { warm = 1, cold };
    typedef float2 Point;
    using Colour = float3;
    static int triple(int x) { return x * 3; }
    static int nine() { return triple(3); }
    int v[count];
    int get() const { return v[half_count] + triple(count); }
};
constant float Config::weights[3] = {1, 2, 3};
MAIN {
    Config c = {{data[0], data[1], data[7], data[3]}};
    CHECK(c.get() == 19);
    CHECK(Config::count == 4 && c.count == 4 && Config::half_count == 2);
    CHECK(Config::weights[data[1]] == 2);
    CHECK(Config::triple(data[2]) == 6 && c.triple(1) == 3 && Config::nine() == 9);
    CHECK(Config::wavy == 5 && Config::Mode::wavy == 5);
    CHECK(Config::Tone::cold == Config::Tone(data[2]));
    CHECK(static_cast<int>(Config::Tone::cold) == 2 && sizeof(Config::Tone) == 1);
    Config::Point p = float2(1, 2);
    Config::Colour q(p, 3);
    CHECK(q.z == 3);
    int table[Config::count];
    for (int i = 0; i < Config::count; i++) table[i] = i;
    CHECK(table[data[3]] == 3);
}

//= constructors
struct Light {
    float power = 1.5;
    float3 colour = float3(2);
    int kind{7};
    Light() = default;
    Light(float p) : power(p) {}
    Light(float p, float c) : Light(p) { colour = float3(c); }
    Light(thread const Light& other) = default;
    explicit Light(int k) : power(k), kind(k) {}
    bool operator==(Light o) const { return power == o.power && kind == o.kind; }
};
struct Early {
    int v;
    Early(int x) { v = 1; if (x > 3) return; v = 2; }
};
struct Owner {
    Light main;
    Light side = Light(9.0);
    Early e;
    float w;
    Owner(float p) : main(p, 4), e(5), w{p} {}
};
struct Default { int a; int b = 3; Default() : a(8) {} };
struct NoCopy { int x; NoCopy() : x(1) {} NoCopy(thread const NoCopy&) = delete; };
struct Nest { Default d; Default e[2]; };
MAIN {
    Light a;
    CHECK(a.power == 1.5 && a.colour.y == 2 && a.kind == 7);
    Light b(3.0f + data[0]);
    CHECK(b.power == 3 && b.kind == 7);
    Light c(2.0f, 5.0f + data[0]);
    CHECK(c.power == 2 && c.colour.x == 5 && c.kind == 7);
    Light d{2 + data[0]};
    CHECK(d.power == 2 && d.kind == 2);
    Light e = c;
    CHECK(e == c && !(e == d));
    Light f = Light();
    CHECK(f.kind == 7);
    Owner o(6 + data[0]);
    CHECK(o.main.power == 6 && o.main.colour.x == 4 && o.side.power == 9 && o.e.v == 1 && o.w == 6);
    CHECK(Early(2 + data[0]).v == 2);
    Default df;
    CHECK(df.a == 8 && df.b == 3);
    Default many[2];
    CHECK(many[data[1]].a == 8);
    Nest n;
    CHECK(n.d.b == 3 && n.e[1].a == 8);
    NoCopy nc;
    CHECK(nc.x == 1);
    auto l = Light{1.0f, 2.0f};
    CHECK(l.colour.z == 2);
}

//= constructors of structs with pointers and references
struct View {
    device const int* p;
    int count;
    View(device const int* q, int n) : p(q), count(n) {}
    int sum() const { int s = 0; for (int i = 0; i < count; i++) s += p[i]; return s; }
    int operator[](int i) const { return p[i]; }
};
struct Ref {
    thread float& r;
    Ref(thread float& x) : r(x) {}
    void set(float v) { r = v; }
    float get() const { return r; }
};
struct Cursor {
    thread float* at;
    float total;
    Cursor(thread float* p) { at = p; total = 0; }
    void step() { total += *at; at++; }
    thread Cursor& operator++() { step(); return *this; }
};
float sumOf(View v) { return v.sum(); }
float run(thread Cursor& c) { c.step(); c.step(); return c.total; }
struct Holder { View view; float k; };
MAIN {
    View v(data + 1, 3);
    CHECK(v.sum() == 6 && v[1] == 2);
    CHECK(sumOf(View(data + 2, 2)) == 5);
    float x = 1;
    Ref r(x);
    r.set(4 + data[0]);
    CHECK(x == 4 && r.get() == 4);
    float a[4] = {1, 2, 3, 4};
    Cursor c(a);
    c.step();
    CHECK(c.total == 1);
    ++c;
    CHECK(c.total == 3 && *c.at == 3);
    CHECK(run(c) == 10 && c.total == 10);
    Holder h = {View(data, 4), 2};
    CHECK(h.view.sum() * h.k == 12);
    Holder h2 = h;
    CHECK(h2.view[3] == 3);
}

//= inheritance
struct Base {
    float x = 1;
    int n;
    float scaled(float k) const { return x * k; }
    void bump() { x += 1; }
    static int id() { return 4; }
    enum { tag = 11 };
    typedef int Number;
};
struct Derived : Base {
    float y = 2;
    float both() const { return x + y + scaled(2); }
    void twice() { bump(); Base::bump(); this->bump(); }
    Number number() const { return n; }
};
struct Third : public Derived {
    float z;
    Third(float a) : z(a) { x = a * 2; n = 3; }
    float scaled(float k) const { return Base::scaled(k) + 100; }
};
struct WithBaseInit : Base {
    float w;
    WithBaseInit(float a) : Base{a, 5}, w(a) {}
};
struct CBase { int a; CBase(int v) : a(v) {} int get() const { return a; } };
struct CDerived : CBase { int b; CDerived(int v) : CBase(v + 1), b(v) {} };
float takesBase(Base b) { return b.x; }
void changes(thread Base& b) { b.x = 42; }
float reads(thread const Base* b) { return b->x; }
struct Empty { int answer() const { return 42; } };
struct FromEmpty : Empty { int v; };
template <typename T> struct Crtp { T twice(T x) const { return x + x; } };
struct UsesCrtp : Crtp<float> { float k; float f() const { return twice(k); } };
struct Two : CBase, Empty { int c; Two(int q) : CBase(q), c(q) {} };
MAIN {
    Derived d;
    d.n = 6 + data[0];
    CHECK(d.x == 1 && d.y == 2 && d.both() == 5);
    d.twice();
    CHECK(d.x == 4 && d.scaled(2) == 8 && d.number() == 6);
    CHECK(Derived::id() == 4 && d.id() == 4 && Derived::tag == 11);
    CHECK(takesBase(d) == 4);
    changes(d);
    CHECK(d.x == 42 && reads(&d) == 42);
    Third t(5 + data[0]);
    CHECK(t.x == 10 && t.y == 2 && t.z == 5 && t.n == 3 && t.scaled(1) == 110);
    CHECK(t.both() == 32 && t.Base::scaled(3) == 30);
    thread Base& b = t;
    b.x = 7;
    CHECK(t.x == 7);
    thread Base* pb = &t;
    pb->bump();
    CHECK(t.x == 8);
    WithBaseInit w(3 + data[0]);
    CHECK(w.x == 3 && w.n == 5 && w.w == 3);
    CDerived cd(data[3]);
    CHECK(cd.get() == 4 && cd.b == 3 && cd.a == 4);
    FromEmpty fe = {};
    fe.v = data[2];
    CHECK(fe.answer() == 42 && fe.v == 2 && sizeof(FromEmpty) == 4);
    CHECK(sizeof(Derived) == 12 && sizeof(Third) == 16);
    UsesCrtp u;
    u.k = 4 + data[0];
    CHECK(u.f() == 8);
    Base sliced = d;
    CHECK(sliced.x == 42);
    Two two(data[5]);
    CHECK(two.a == 5 && two.c == 5 && two.answer() == 42);
    Derived copy = d;
    CHECK(copy.x == 42 && copy.n == 6);
    Derived arr[2];
    arr[data[1]].x = 9;
    CHECK(arr[1].x == 9 && arr[0].x == 1);
}

//= anonymous members
struct Anon {
    int kind;
    struct { float a; float b; };
    struct { int p, q; } inner;
    enum { one = 1, two } e;
    struct { struct { int deep; }; };
};
MAIN {
    Anon a;
    a.a = 1.5 + data[0];
    a.b = 2;
    a.deep = 5;
    a.inner.q = 7 + data[0];
    a.e = Anon::two;
    CHECK(a.a == 1.5 && a.b == 2 && a.inner.q == 7 && a.e == 2 && a.deep == 5 && sizeof(Anon) == 28);
}

//= operators
struct V {
    float x, y;
    V operator+(V o) const { return V{x + o.x, y + o.y}; }
    V operator-() const { return V{-x, -y}; }
    thread V& operator+=(V o) { x += o.x; y += o.y; return *this; }
    thread V& operator++() { x += 1; return *this; }
    V operator++(int) { V old = *this; x += 1; return old; }
    bool operator!() const { return x == 0 && y == 0; }
    float operator[](int i) const { return i == 0 ? x : y; }
    thread float& operator[](int i) { return i == 0 ? x : x; }
    float operator()(float t) const { return x + y * t; }
    operator float() const { return x + y; }
    explicit operator bool() const { return x != 0; }
    bool operator==(thread const V& o) const { return x == o.x && y == o.y; }
    bool operator<(V o) const { return x < o.x; }
    friend V operator*(V a, float k) { return V{a.x * k, a.y * k}; }
    friend V operator*(float k, V a) { return a * k; }
    friend struct Other;
    friend float peek(V v);
    thread V* operator&() = delete;
};
bool operator!=(V a, V b) { return !(a == b); }
V operator-(V a, V b) { return V{a.x - b.x, a.y - b.y}; }
thread V& operator<<(thread V& a, float k) { a.x = k; return a; }
float peek(V v) { return v.x; }
enum class Flags : uint { none = 0, a = 1, b = 2, c = 4 };
Flags operator|(Flags l, Flags r) { return Flags(uint(l) | uint(r)); }
bool operator&(Flags l, Flags r) { return (uint(l) & uint(r)) != 0; }
struct Table {
    int v[4];
    thread int& operator[](int i) { return v[i]; }
    int operator[](int i) const { return v[i]; }
    thread int& at(int i) { if (i < 0) return v[0]; if (i > 3) return v[3]; return v[i]; }
    int size() const { return 4; }
};
thread int& pick(thread Table& t, int i) { return t.v[i]; }
int readOnly(thread const Table& t) { return t[2] + t.size(); }
MAIN {
    V a = {1.0f + data[0], 2};
    V b = {3, 4};
    V c = a + b;
    CHECK(c.x == 4 && c.y == 6);
    c += a;
    CHECK(c.x == 5 && (-c).y == -8);
    ++c;
    V old = c++;
    CHECK(old.x == 6 && c.x == 7);
    CHECK(!V{0, 0} && !!c);
    CHECK(c(2) == 23);
    float f = c;
    CHECK(f == 15);
    CHECK((b * 2.0f).y == 8 && (2.0f * b).x == 6 && (b - a).x == 2);
    CHECK(a != b && a == a && a < b);
    c << 8;
    CHECK(peek(c) == 8);
    Flags m = Flags::a | Flags::c;
    CHECK((m & Flags::c) && !(m & Flags::b));
    Table t = {{1, 2, 3, 4}};
    t[data[2]] = 30;
    t[1] += 5;
    CHECK(t.v[2] == 30 && t[data[1]] == 7 && readOnly(t) == 34);
    t.at(9 + data[0]) = 40;
    t.at(-1 + data[0]) = 10;
    CHECK(t.v[3] == 40 && t.v[0] == 10 && t.at(1) == 7);
    pick(t, data[3]) = 41;
    CHECK(t.v[3] == 41);
    if (a) CHECK(true); else CHECK(false);
}

//= conversion operators
struct Anything { template <typename T> operator T() && { return T{}; } };
template <typename T, int N> struct Rows {
    vec<T, N> columns[N];
    operator matrix<T, N, N>() const thread { matrix<T, N, N> m; for (int i = 0; i < N; ++i) m[i] = columns[i]; return m; }
    operator matrix<T, N, N>() const constant { return matrix<T, N, N>(T(7)); }
    thread Rows& operator=(thread const matrix<T, N, N>& m) thread { for (int i = 0; i < N; ++i) columns[i] = m[i] * T(2); return *this; }
};
constant Rows<float, 2> fixed = {{float2(1), float2(2)}};
MAIN {
    uint x = data[1] < 9 ? 4u : Anything();
    float2 y = data[1] > 9 ? float2(1.0) : Anything();
    CHECK(x == 4 && all(y == float2(0)));
    Rows<float, 2> r;
    r = float2x2(1, 2, 3, 4 + data[0]);
    CHECK(float2x2(r)[1].y == 8 && float2x2(fixed)[0].x == 7);
    float2x2 m = r;
    CHECK(m[0].y == 4);
}

//= member functions by address space
struct Item {
    int v;
    int get() const thread { return v; }
    int get() const device { return v * 10; }
    int get() const constant { return v * 100; }
    void set(int x) device { v = x; }
    void set(int x) thread { v = -x; }
};
constant Item fixed = {3};
kernel void check(device uint* failed [[buffer(0)]], device Item* items [[buffer(1)]],
                  uint thread_number [[thread_position_in_grid]]) {
    if (thread_number != 0) return;
    Item t = items[2];
    CHECK(t.get() == 2 && items[2].get() == 20 && fixed.get() == 300);
    items[3].set(8);
    t.set(8);
    CHECK(items[3].v == 8 && t.v == -8);
    device Item& r = items[4];
    r.set(5);
    CHECK(items[4].get() == 50);
}

//= this and chains
struct Builder {
    float a, b;
    thread Builder& setA(float v) thread { this->a = v; return *this; }
    thread Builder& setB(float v) { b = v; return *this; }
    Builder with(float v) const { Builder copy = *this; copy.a = v; return copy; }
    thread Builder* self() { return this; }
    bool same(thread const Builder& o) const { return a == o.a && b == o.b; }
};
struct Deep { struct Mid { struct In { int v; int get() const { return v; } } in; } mid; };
class Counter {
  public:
    Counter() : n_(0) {}
    int next() { return ++n_; }
  private:
    int n_;
};
MAIN {
    Builder b = {};
    b.setA(1 + data[0]).setB(2).setA(3);
    CHECK(b.a == 3 && b.b == 2 && b.with(7).a == 7 && b.a == 3);
    b.self()->a = 5;
    CHECK(b.a == 5 && b.same(b));
    Deep d;
    d.mid.in.v = 4 + data[0];
    CHECK(d.mid.in.get() == 4);
    Deep::Mid::In in = {6};
    CHECK(in.get() == 6);
    Counter c;
    c.next();
    CHECK(c.next() == 2);
    struct Local { int k; int twice() const { return k * 2; } };
    Local l = {data[3]};
    CHECK(l.twice() == 6);
}

//= unions of arrays, matrices and structs
union Lanes {
    float4 v;
    float f[4];
    uint words[4];
    uchar bytes[16];
};
struct Rgba { uchar r, g, b, a; };
union Color {
    uint word;
    Rgba c;
    uchar parts[4];
};
union Rows {
    float3x3 m;
    float numbers[12];
    struct { float3 x, y, z; } rows;
};
union Odd {
    packed_float3 p;
    ushort halves[6];
    struct { half h; bool flag; } small;
};
static float total(Lanes lanes) { return lanes.f[0] + lanes.f[1] + lanes.f[2] + lanes.f[3]; }
static void fill(thread float* f, int count, float value) {
    for (int i = 0; i < count; i++) f[i] = value + i;
}
static void brighten(thread Color& color) { color.c.r += 1; color.parts[3] = 255; }
static void set(thread uchar& byte, uchar value) { byte = value; }
static Lanes made(float x) { Lanes l; l.v = float4(x, 2, 3, 4); return l; }
MAIN {
    Lanes a = {float4(1, 2, 3, 4)};
    float sum = 0;
    for (int i = 0; i < 4; i++) sum += a.f[data[i]];
    CHECK(sum == 10);
    a.f[data[2]] = 9;
    CHECK(all(a.v == float4(1, 2, 9, 4)));
    CHECK(a.words[0] == 0x3F800000 && a.bytes[3] == 0x3F && a.bytes[data[2]] == 0x80);
    a.bytes[3] = 0x40;
    CHECK(a.words[data[0]] == 0x40800000 && a.v.x == 4);
    a.v.yz = float2(7, 8);
    CHECK(a.f[1] == 7 && a.f[2] == 8 && total(a) == 4 + 7 + 8 + 4);
    fill(a.f, 4, 5);
    CHECK(all(a.v == float4(5, 6, 7, 8)));
    fill(&a.f[data[1]], 2, 1);
    CHECK(all(a.v == float4(5, 1, 2, 8)));
    Lanes b = a;
    b.f[0] = 3;
    CHECK(a.f[0] == 5 && b.f[0] == 3 && total(made(1)) == 10 && made(6).f[data[0]] == 6);
    Color c;
    c.word = 0x01020304;
    CHECK(c.c.r == 4 && c.c.a == 1 && c.parts[data[1]] == 3);
    brighten(c);
    CHECK(c.word == 0xFF020305);
    set(c.parts[data[2]], 0x77);
    CHECK(c.word == 0xFF770305);
    c.c = Rgba{1, 2, 3, 4};
    CHECK(c.word == 0x04030201);
    Rows r;
    r.m = float3x3(float3(1, 2, 3), float3(4, 5, 6), float3(7, 8, 9));
    CHECK(r.numbers[data[5]] == 5 + 1 - 1 && r.rows.y.y == 5 && all(r.m[data[2]] == float3(7, 8, 9)));
    r.rows.z = float3(data[1]);
    CHECK(r.m[2][2] == 1);
    Odd o;
    o.p = float3(1, 2, data[3]);
    CHECK(o.halves[1] == 0x3F80 && o.halves[5] == 0x4040);
    o.small.h = 1.0h;
    o.small.flag = true;
    CHECK(o.halves[0] == 0x3C00 && (o.halves[1] & 0xFF) == 1);
}
