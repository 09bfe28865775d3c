#include <metal_stdlib>
using namespace metal;
struct C { float2 v; C operator*(C o) const { return C{v * o.v}; } C twice() const { return *this * *this; } C& self() { return *this; } };
struct Acc { float s; void add(float x) { s += x; } float get() const { return s; } static float zero() { return 0; } Acc operator+=(Acc o) { s += o.s; return *this; } float operator[](int i) const { return s * i; } float operator()(float x) const { return s + x; } Acc operator-() const { return Acc{-s}; } bool operator==(Acc o) const { return s == o.s; } };
struct G { float v[3]; G(float a) { for (int i = 0; i < 3; i++) v[i] = a; } G(float a, float b) : v{a, b, 1} {} operator float() const { return v[0]; } };
G makeG() { return 3.0; }
struct Node; struct Node { float x; };
struct Outer { struct Inner { float a; }; Inner in; enum { K = 3 }; static constexpr constant int N = 4; float arr[N]; Inner get() const { return in; } };
template <typename T> T lerp3(T a, T b, float t) { return a + (b - a) * t; }
template <typename T, typename U> struct Both { T t; U u; };
template <typename T = float, int N = 2> struct Buf { T d[N]; T sum() const { T s = T(0); for (int i = 0; i < N; i++) s += d[i]; return s; } thread T& at(int i) { return d[i]; } };
template <typename T> using Two = Buf<T, 2>;
template <typename F> float apply(F f, float x) { return f(x); }
union U { float f; uint u; };
fragment float4 fr(constant float& x) {
  C a{float2(1)}; C b = a * a; b = b.twice(); Acc s{0}; s.add(1); s += s; float q = s[2] + s(3) + Acc::zero() + (-s).get() + (s == s ? 1 : 0);
  G g(2); G g2 = 3.0; G g3 = G(1, 2); g = makeG(); q += g + g2.v[1] + g3;
  Outer o; o.in.a = 1; Outer::Inner in = o.get(); q += in.a + Outer::K + o.N + Outer::N; Buf<> bf = {{1, 2}}; bf.at(1) = 5; q += bf.sum(); Two<float> tw{{1, 2}}; q += tw.sum(); Both<float, int> bo{1, 2}; q += bo.u;
  q += lerp3(1.0, 2.0, 0.5) + lerp3(float2(1), float2(2), 0.5).x + apply(s, 2.0);
  U un; un.f = 1; q += un.u; for (float e : o.arr) q += e; for (auto& e2 : o.arr) e2 = 1; int k = 0; k += q; k <<= 2; k |= 1; q = k++ + --k;
  struct L { float z; float zz() const { return z; } }; L l{1}; q += l.zz(); enum { A = 2, B }; q += A + B; if (const bool ok = q > 1; ok) q += 1;
  return q + x; }
