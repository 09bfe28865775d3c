// Programs about templates and names; see class-checks.metal for how a section checks itself.

//= function templates
template <typename T> T sq(T x) { return x * x; }
template <typename T, typename U> T mixed(T a, U b) { return a + T(b); }
template <int N> float rep(float v) { for (int i = 0; i < N; i++) v *= 2; return v; }
template <typename T, int N = 2> T times(T x) { return x * T(N); }
template <typename T = float> T zero() { return T(0); }
template <bool B> int flag() { return B ? 1 : 2; }
template <> int flag<true>() { return 10; }
template <typename T> int kind(T) { return 0; }
template <> int kind<float>(float) { return 1; }
template <typename T> int kind(vec<T, 2>) { return 2; }
int kind(int) { return 3; }
template <typename T, int N> int count(thread T (&a)[N]) { return N; }
template <typename T> T sumOf(device const T* p, uint n) { T s = 0; for (uint i = 0; i < n; i++) s += p[i]; return s; }
template <typename T, uint N> T total(vec<T, N> v) { T s = 0; for (uint i = 0; i < N; i++) s += v[i]; return s; }
template <typename F> float apply(F f, float x) { return f(x); }
struct Twice { float operator()(float x) const { return 2 * x; } };
template <typename T> auto half_of(T x) -> decltype(x / T(2)) { return x / T(2); }
template <typename T> auto plus_one(T x) { return x + T(1); }
template <int N> int fib() { return fib<N - 1>() + fib<N - 2>(); }
template <> int fib<0>() { return 0; }
template <> int fib<1>() { return 1; }
template <typename To, typename From> To as(From f) { return static_cast<To>(f); }
template float sq<float>(float);
template <typename A, typename B> struct Op;
MAIN {
    CHECK(sq(3 + data[0]) == 9 && sq(1.5) == 2.25 && all(sq(float2(2)) == float2(4)) && sq<float>(2) == 4);
    CHECK(mixed(1.5, data[2]) == 3.5);
    CHECK(rep<3>(1 + data[0]) == 8 && times(3) == 6 && times<float, 5>(2) == 10 && zero() == 0 && zero<int>() == 0);
    CHECK(flag<false>() == 2 && flag<true>() == 10);
    CHECK(kind(1.0h) == 0 && kind(1.0f) == 1 && kind(float2(1)) == 2 && kind(1) == 3);
    int a[7];
    CHECK(count(a) == 7);
    CHECK(sumOf(data, 4) == 6 && total(float3(1, 2, 3)) == 6 && total(int4(1)) == 4);
    CHECK(apply(Twice(), 4 + data[0]) == 8);
    CHECK(half_of(5 + data[0]) == 2 && half_of(5.0) == 2.5 && plus_one(2) == 3);
    CHECK(fib<10>() == 55);
    CHECK(as<int>(2.75) == 2 && as<half>(2) == 2.0h);
}

//= class templates
template <typename T, int N = 3> struct Stack {
    T items[N];
    int used = 0;
    void push(T x) { if (used < N) items[used++] = x; }
    T pop() { return items[--used]; }
    static constexpr int capacity = N;
    static int room() { return N; }
    bool full() const { return used == N; }
    template <typename U> U as(int i) const { return U(items[i]); }
};
template <typename T> struct Kind { static constexpr constant int value = 0; };
template <> struct Kind<float> { static constexpr constant int value = 1; };
template <typename T> struct Kind<vec<T, 2>> { static constexpr constant int value = 2; };
template <typename T, int N> struct Kind<vec<T, N>> { static constexpr constant int value = 10 + N; };
template <typename T> struct Kind<thread T*> { static constexpr constant int value = 5; };
template <typename A, typename B> struct Same { static constexpr constant bool value = false; };
template <typename A> struct Same<A, A> { static constexpr constant bool value = true; };
template <int N> struct Factorial { enum { value = N * Factorial<N - 1>::value }; };
template <> struct Factorial<0> { enum { value = 1 }; };
template <typename T> struct Box { T v; using type = T; typedef vec<T, 2> pair; Box(T x) : v(x) {} T get() const { return v; } };
template <typename T> struct Outer { struct Inner { T x; }; Inner in; Outer<T> copy() const { return *this; } };
template <typename T> using Pairs = Stack<T, 2>;
template <typename T> Box<T> boxed(T x) { return Box<T>(x); }
template <typename T> T unbox(Box<T> b) { return b.v; }
template <typename T> typename Box<T>::type inner(T x) { typename Box<T>::pair p = typename Box<T>::pair(x); return p.y; }
template struct Stack<int, 5>;
template <typename T> struct Complex { T re, im; };
template <typename T> Complex<T> operator*(Complex<T> a, Complex<T> b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
template <typename Policy> struct Host : Policy { int run(int x) const { return Policy::f(x) + this->f(x); } };
struct Plus { int f(int x) const { return x + 1; } };
MAIN {
    Stack<float> s;
    s.push(1 + data[0]);
    s.push(2);
    CHECK(s.pop() == 2 && s.used == 1 && !s.full() && s.as<int>(0) == 1);
    CHECK(Stack<int, 5>::capacity == 5 && Stack<int, 5>::room() == 5);
    Pairs<int> p;
    p.push(3); p.push(4); p.push(5);
    CHECK(p.full() && p.pop() == 4);
    CHECK(Kind<int>::value == 0 && Kind<float>::value == 1 && Kind<int2>::value == 2 && Kind<half3>::value == 13 && Kind<thread int*>::value == 5);
    CHECK(!Same<int, uint>::value && Same<float2, vec<float, 2>>::value);
    CHECK(Factorial<5>::value == 120);
    CHECK(boxed(7 + data[0]).get() == 7 && unbox(Box<float>(2.5)) == 2.5 && inner(3) == 3);
    Box<int>::type q = 4;
    CHECK(q == 4);
    Outer<float>::Inner in = {2};
    Outer<float> o = {in};
    CHECK(o.copy().in.x == 2);
    Complex<float> c = Complex<float>{1, 2} * Complex<float>{3, 4};
    CHECK(c.re == -5 && c.im == 10);
    Host<Plus> h;
    CHECK(h.run(data[2]) == 6);
}

//= variable templates, traits and choices
template <typename T> constexpr constant T pi_v = T(3.25);
template <typename T> constant constexpr int rank_v = 0;
template <typename T, int N> constant constexpr int rank_v<vec<T, N>> = N;
template <typename T, typename enable_if<is_floating_point<T>::value, int>::type = 0> int pick(T) { return 1; }
template <typename T, typename enable_if<is_integral<T>::value, int>::type = 0> int pick(T) { return 2; }
template <typename T> enable_if_t<is_same_v<T, float>, T> only(T x) { return x + 1; }
template <typename T> enable_if_t<!is_same_v<T, float>, T> only(T x) { return x - 1; }
template <typename T> typename conditional<(sizeof(T) > 2), float, half>::type wide(T x) { return x; }
template <typename T> int sized(T x) { if (is_same<T, int>::value) return 1; return 2; }
template <typename T> int by_constexpr(T x) { if constexpr (is_same<T, float2>::value) return int(x.y); else return int(x); }
template <typename T> auto member_of(T x, int) -> decltype(x.size()) { return x.size(); }
template <typename T> int member_of(T x, long) { return -1; }
struct Sized { int size() const { return 12; } };
template <typename T> struct scalar_of { using type = T; };
template <typename T, int N> struct scalar_of<vec<T, N>> { using type = T; };
template <typename T> using scalar_of_t = typename scalar_of<T>::type;
template <typename T> scalar_of_t<T> firstOf(T v) { return scalar_of_t<T>(v[0]); }
static_assert(is_same<scalar_of_t<half3>, half>::value, "half");
static_assert(is_integral_v<int> && !is_integral_v<float> && is_signed<int>::value && is_unsigned<uint>::value, "");
static_assert(is_same_v<remove_const_t<const int>, int>, "");
MAIN {
    CHECK(pi_v<float> == 3.25 && pi_v<int> == 3 && rank_v<float> == 0 && rank_v<int3> == 3);
    CHECK(pick(1.0) == 1 && pick(data[1]) == 2);
    CHECK(only(1.0f) == 2 && only(data[1]) == 0);
    CHECK(sizeof(wide(1)) == 4 && sizeof(wide(1.0h)) == 2);
    CHECK(sized(data[0]) == 1 && sized(1.0) == 2);
    CHECK(by_constexpr(float2(1, 2)) == 2 && by_constexpr(3.5) == 3);
    CHECK(member_of(Sized(), 0) == 12 && member_of(1.0, 0) == -1);
    CHECK(firstOf(float3(4 + data[0])) == 4);
    decltype(data[0] + 1.0) d = 2.5;
    CHECK(d == 2.5);
}

//= parameter packs
template <typename T> T sum(T x) { return x; }
template <typename T, typename... Rest> T sum(T x, Rest... rest) { return x + sum(rest...); }
template <typename... T> int howMany(T... xs) { return sizeof...(T); }
template <typename... T> float3 makeIt(T... xs) { return float3(xs...); }
template <typename F, typename... A> float call(F f, A... a) { return f(a...); }
template <int... Ns> int addUp() { int v[] = {Ns...}; int s = 0; for (int i = 0; i < int(sizeof...(Ns)); i++) s += v[i]; return s; }
struct Mul { float operator()(float a, float b) const { return a * b; } };
template <typename T> T twice(T x) { return x * 2; }
template <typename... T> float sumTwice(T... xs) { return sum(twice(xs)...); }
MAIN {
    CHECK(sum(1 + data[0], 2, 3, 4) == 10 && sum(1.5f) == 1.5);
    CHECK(howMany() == 0 && howMany(1, 2.0, true) == 3);
    CHECK(makeIt(1.0f, 2.0f, 3.0f).z == 3);
    CHECK(call(Mul(), 3.0f, 4.0f + data[0]) == 12);
    CHECK(addUp<1, 2, 3>() == 6);
    CHECK(sumTwice(1.0f, 2.0f) == 6);
}

//= lambdas
template <typename F> float applyTo(F f, float x) { return f(x); }
template <typename F> void repeat(int n, F f) { for (int i = 0; i < n; i++) f(i); }
template <typename F> float integrate(float a, float b, int n, thread const F& f) {
    float s = 0;
    for (int i = 0; i < n; i++) s += f(a + (b - a) * (float(i) + 0.5) / float(n));
    return s * (b - a) / float(n);
}
struct Acc { float v; float go(float k) { auto f = [this, k](float x) { v += x * k; return v; }; f(1); return f(2); } };
constant float scale = 3;
MAIN {
    float k = 2 + data[0];
    auto f = [k](float x) { return x * k; };
    k = 100;
    CHECK(f(3) == 6 && applyTo(f, 4) == 8);
    float total = 0;
    auto add = [&total](float x) { total += x; };
    add(1);
    add(2);
    CHECK(total == 3);
    repeat(4, [&](int i) { total += i * k; });
    CHECK(total == 603);
    auto all_by_copy = [=](float x) -> float { return x + k + total + scale; };
    CHECK(all_by_copy(1) == 707);
    auto generic = [&](auto a, auto b) { return a * b + decltype(a)(data[0]); };
    CHECK(generic(2, 3) == 6 && generic(1.5f, 2.0f) == 3 && all(generic(float2(1, 2), 2.0f) == float2(2, 4)));
    CHECK([](float x) { return x + 1; }(2) == 3);
    int counter = [&]() { int c = 0; for (int i = 0; i < 3; i++) c += i; return c; }();
    CHECK(counter == 3);
    auto early = [](int x) { if (x > 2) return 1; for (int i = 0; i < 4; i++) if (i == x) return i * 10; return 5; };
    CHECK(early(3 + data[0]) == 1 && early(data[2]) == 20 && early(data[0] - 1) == 5);
    auto outer = [&](float x) { auto inner = [&](float y) { return x + y + k; }; return inner(1); };
    CHECK(outer(2) == 103);
    auto mutating = [n = 0, k](int by) mutable { n += by; return n; };
    mutating(2);
    CHECK(mutating(3) == 5);
    CHECK(abs(integrate(0, 1, 16, [](float x) { return x * x; }) - 0.3333) < 0.001);
    Acc a = {1};
    CHECK(a.go(2) == 7 && a.v == 7);
    float arr[3] = {1, 2, 3};
    auto at = [&arr](int i) -> thread float& { return arr[i]; };
    at(data[1]) = 20;
    CHECK(arr[1] == 20);
    auto whole = [arr](int i) { return arr[i]; };
    arr[2] = 0;
    CHECK(whole(data[2]) == 3);
    auto buffer = [data](int i) { return data[i]; };
    CHECK(buffer(5) == 5);
    const int n = 4;
    auto uses_const = [] { int v[n]; v[3] = n; return v[3]; };
    CHECK(uses_const() == 4);
    auto compose = [](auto g, auto h) { return [=](float x) { return g(h(x)); }; };
    auto both = compose([](float x) { return x + 1; }, [](float x) { return x * 10; });
    CHECK(both(2) == 21);
}

//= namespaces and names
namespace a { namespace b { float f(float x) { return x + 1; } constant float k = 5; struct S { float v; }; } float g() { return b::f(1); } }
namespace a::b { float h(float x) { return f(x) * 2; } }
namespace ab = a::b;
namespace { float hidden(float x) { return x * 7; } }
inline namespace v1 { float versioned() { return 8; } }
using a::b::S;
namespace mine { float length(float2 v) { return 99; } float3 rotate(float3 v) { return v; } struct sampler_like { int x; }; float dot(float2 a, float2 b) { return 55; } enum filter { nearest_one = 3 }; }
namespace shapes { struct float_box { float v; }; float area(float_box b) { return b.v; } }
float mod(float x, float y) { return x - y * floor(x / y); }
float2 rotate(float2 p, float a) { return p * a; }
float sign(float x) { return x < 0 ? -10 : 10; }
float mix(float a, float b, float c, float d) { return a + b + c + d; }
float dup(float x) { return 1; }
namespace over { float dup(float x) { return 2; } float test() { return dup(1) + ::dup(1); } }
struct distance_field { float d; };
float distance(distance_field a) { return a.d; }
MAIN {
    CHECK(a::b::f(1 + data[0]) == 2 && ab::h(1) == 4 && a::g() == 2 && ab::k == 5 && ::a::b::k == 5);
    CHECK(hidden(1) == 7 && versioned() == 8 && v1::versioned() == 8);
    S s = {3};
    a::b::S t = s;
    CHECK(t.v == 3);
    { using namespace a::b; CHECK(f(3) == 4 && k == 5); }
    { using a::b::h; CHECK(h(2) == 6); }
    CHECK(mine::length(float2(1)) == 99 && length(float2(3, 4)) == 5 && mine::dot(float2(1), float2(1)) == 55);
    CHECK(dot(float2(1), float2(2)) == 4 && metal::dot(float2(1), float2(2)) == 4);
    CHECK(mine::nearest_one == 3);
    CHECK(mod(-1, 3) == 2 && rotate(float2(1), 2).x == 2 && sign(-1.0f) == -10 && metal::sign(-2.0f) == -1);
    CHECK(mix(1, 2, 3, 4) == 10 && mix(1.0f, 2.0f, 0.5f) == 1.5);
    CHECK(over::test() == 3 && dup(1) == 1);
    float hidden = 2;
    float length = 3;
    CHECK(hidden + length == 5);
    namespace inner = a::b;
    CHECK(inner::k == 5);
    CHECK(shapes::area(shapes::float_box{4}) == 4 && area(shapes::float_box{5}) == 5);
    CHECK(distance(distance_field{2}) == 2 && distance(float2(0), float2(3, 4)) == 5);
    metal::float3 m = metal::float3(1, 2, 3);
    metal::half4 hm = metal::half4(1);
    CHECK(metal::max(m.x, 2.0f) == 2 && hm.x == 1);
}

//= limits of numbers
template <typename T> T largest() { return numeric_limits<T>::max(); }
template <typename T> struct Range {
    static constexpr constant T low = numeric_limits<T>::lowest();
    static T high() { return numeric_limits<T>::max(); }
};
MAIN {
    CHECK(numeric_limits<int>::max() == 2147483647 && numeric_limits<int>::min() == -2147483647 - 1);
    CHECK(largest<uchar>() == 255 && largest<short>() == 32767 && largest<ulong>() == ~0ul && largest<bool>());
    CHECK(numeric_limits<float>::digits == 24 && numeric_limits<half>::digits == 11 && numeric_limits<uint>::digits == 32);
    CHECK(numeric_limits<int>::digits10 == 9 && numeric_limits<float>::max_exponent == 128 && numeric_limits<float>::radix == 2);
    CHECK(numeric_limits<char>::is_signed && !numeric_limits<uint>::is_signed && numeric_limits<int>::is_integer);
    CHECK(numeric_limits<float>::has_infinity && !numeric_limits<half>::is_integer && metal::numeric_limits<float>::is_iec559);
    CHECK(all(numeric_limits<float3>::max() == float3(FLT_MAX)) && all(numeric_limits<int2>::lowest() == int2(INT_MIN)));
    CHECK(Range<float>::low == -FLT_MAX && Range<int>::high() == INT_MAX && isinf(numeric_limits<float>::infinity()));
    int counts[numeric_limits<uchar>::digits] = {};
    counts[7] = data[1];
    CHECK(counts[7] == 1 && sizeof(counts) == 32);
}

//= functions as arguments of templates
struct block { char4 q; half scale; };
void wide(device const int* from, short at, thread float4& to) { to = float4(from[at], from[at + 1], 0, 1); }
void narrow(device const int* from, short at, thread float4& to) { to = float4(from[at]); }
template <typename B, short step, void (*decode)(device const B*, short, thread float4&)>
float4 row(device const B* from, short n) {
    float4 sum = 0, one;
    for (short i = 0; i < n; i += step) { decode(from, i, one); sum += one; }
    return sum;
}
float twice(float x) { return 2 * x; }
int twice(int x) { return 20 * x; }
template <typename T> T thrice(T x) { return 3 * x; }
template <typename T, T (&f)(T x)> T nested(T x) { return f(f(x)); }
template <float f(float) = twice> float with_default(float x) { return f(x); }
template <float (*f)(float)> float outer(float x) { return nested<float, f>(x) + with_default<f>(x); }
struct Ops { static float negated(float x) { return -x; } };
namespace inside { float half_of(float x) { return x / 2; } }
template <float (*f)(float)> struct Holder { float operator()(float x) const { return f(x); } };
template <typename T> struct IsTwice { static constexpr constant int value = 0; };
template <float (*f)(float)> struct IsTwice<Holder<f>> { static constexpr constant int value = 1; };
template <> struct IsTwice<Holder<twice>> { static constexpr constant int value = 2; };
typedef decltype(row<int, 1, narrow>) row_t;
MAIN {
    const short n = short(data[4]);
    CHECK(all(row<int, 2, wide>(data, n) == float4(2, 4, 0, 2)) && all(row<int, 1, narrow>(data, n) == float4(6)));
    const float x = float(data[3]);
    CHECK(nested<float, twice>(x) == 12 && nested<int, twice>(data[3]) == 1200 && nested<float, thrice<float>>(x) == 27);
    CHECK(nested<int, thrice>(data[3]) == 27 && with_default(x) == 6 && with_default<&thrice<float>>(x) == 9);
    CHECK(outer<thrice>(x) == 36 && outer<Ops::negated>(x) == 0 && outer<inside::half_of>(x) == 2.25);
    CHECK(Holder<twice>()(x) == 6 && Holder<inside::half_of>()(x) == 1.5);
    CHECK(IsTwice<float>::value == 0 && IsTwice<Holder<thrice>>::value == 1 && IsTwice<Holder<twice>>::value == 2);
}

//= fold expressions
template <typename... T> auto sum(T... xs) { return (xs + ...); }
template <typename... T> int from_left(T... xs) { return (... - xs); }
template <typename... T> int from_right(T... xs) { return (xs - ...); }
template <typename... T> int begun(int first, T... xs) { return (first - ... - xs); }
template <typename... T> int ended(int last, T... xs) { return (xs - ... - last); }
template <typename... T> bool every(T... xs) { return (... && (xs > 0)); }
template <typename... T> bool some(T... xs) { return ((xs > 0) || ...); }
template <typename... T> constexpr int bytes() { return (0 + ... + int(sizeof(T))); }
template <int... N> struct Product { static constexpr constant int value = (N * ... * 1); };
template <typename F, typename... T> void each(F f, T... xs) { (f(xs), ...); }
MAIN {
    const int a = data[1], b = data[2], c = data[4];
    CHECK(sum(a, b, c) == 7 && sum(a) == 1 && sum(0.5f, b) == 2.5);
    CHECK(from_left(a, b, c) == -5 && from_right(a, b, c) == 3 && begun(10, a, b) == 7 && ended(10, a, b) == 9);
    CHECK(every(a, b) && !every(a, -b) && every() && some(-a, b) && !some());
    CHECK(bytes<float, half, char>() == 7 && bytes<>() == 0 && Product<2, 3, 4>::value == 24 && Product<>::value == 1);
    int seen = 0;
    each([&](int x) { seen = seen * 10 + x; }, a, b, c);
    CHECK(seen == 124);
}
