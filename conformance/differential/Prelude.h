// What the generated programs need to be C++: the shading language's types and the meaning that it gives to what C++
// leaves open (shifts beyond the width, division by zero).
#pragma once

#include <cstdint>

namespace differential {

using uint = std::uint32_t;
using uchar = std::uint8_t;
using long_t = std::int64_t;
using int4 = int __attribute__((ext_vector_type(4)));
using uint2 = std::uint32_t __attribute__((ext_vector_type(2)));
using float3 = float __attribute__((ext_vector_type(3)));

inline int4 INT4(int x, int y, int z, int w) {
    return int4{x, y, z, w};
}
inline uint2 UINT2(uint x, uint y) {
    return uint2{x, y};
}
inline float3 FLOAT3(float x, float y, float z) {
    return float3{x, y, z};
}
inline int SHL(int a, int b) {
    return static_cast<int>(static_cast<uint>(a) << (b & 31));
}
inline uint SHL(uint a, uint b) {
    return a << (b & 31U);
}
inline int SHR(int a, int b) {
    return a >> (b & 31);
}
inline uint SHR(uint a, uint b) {
    return a >> (b & 31U);
}
inline int IDIV(int a, int b) {
    return b == 0 ? a : b == -1 ? static_cast<int>(0U - static_cast<uint>(a)) : a / b;
}
inline int IREM(int a, int b) {
    return b == 0 || b == -1 ? 0 : a % b;
}
inline uint UDIV(uint a, uint b) {
    return b == 0 ? a : a / b;
}
inline uint UREM(uint a, uint b) {
    return b == 0 ? 0 : a % b;
}
inline float KEEP(float x) {
    return static_cast<float>((static_cast<int>(x) & 1023) - 512);
}
inline float3 KEEP3(float3 x) {
    return float3{KEEP(x.x), KEEP(x.y), KEEP(x.z)};
}

} // namespace differential
