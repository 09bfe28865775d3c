#include <metal_stdlib>
using namespace metal;
template<typename T, size_t Num>
struct WrappedArray
{
    T elements[Num ? Num : 1];
    thread T& operator [] (size_t pos) thread { return elements[pos]; }
    constexpr const thread T& operator [] (size_t pos) const thread { return elements[pos]; }
    device T& operator [] (size_t pos) device { return elements[pos]; }
    constexpr const device T& operator [] (size_t pos) const device { return elements[pos]; }
    constexpr const constant T& operator [] (size_t pos) const constant { return elements[pos]; }
    threadgroup T& operator [] (size_t pos) threadgroup { return elements[pos]; }
    constexpr const threadgroup T& operator [] (size_t pos) const threadgroup { return elements[pos]; }
};
constant WrappedArray<float, 3> _t = WrappedArray<float, 3>({ 1.0, 2.0, 3.0 });
struct main0_out { float4 FragColor [[color(0)]]; };
template<typename Tx, typename Ty> inline Tx mod(Tx x, Ty y) { return x - y * floor(x / y); }
static inline __attribute__((always_inline)) float helper(thread const WrappedArray<float, 3>& a, constant WrappedArray<float, 3>& b, int i) { return a[i] + b[i]; }
fragment main0_out main0(constant int& i [[buffer(0)]]) {
  main0_out out = {};
  WrappedArray<float, 3> a = WrappedArray<float, 3>({ 0.0, 1.0, 2.0 });
  a[i] = 3.0; a[0] += 2;
  WrappedArray<WrappedArray<float, 2>, 2> nn; nn[1][0] = 3;
  out.FragColor = float4(helper(a, _t, i) + mod(3.0, 2.0) + nn[1][0] + mod(float2(1), 2.0).x);
  return out;
}
