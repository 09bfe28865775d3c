#pragma clang diagnostic ignored "-Wmissing-prototypes"
#include <metal_stdlib>
#include <simd/simd.h>

using namespace metal;

template<typename T, uint A>
inline void copyFromConstantToStack1(thread T (&dst)[A], constant T (&src)[A])
{
    for (uint i = 0; i < A; i++)
    {
        dst[i] = src[i];
    }
}

template<typename T, uint A>
inline void copyFromStackToStack1(thread T (&dst)[A], thread const T (&src)[A])
{
    for (uint i = 0; i < A; i++)
    {
        dst[i] = src[i];
    }
}

template<typename T, uint A, uint B>
inline void copyFromStackToStack2(thread T (&dst)[A][B], thread const T (&src)[A][B])
{
    for (uint i = 0; i < A; i++)
    {
        copyFromStackToStack1(dst[i], src[i]);
    }
}

template<typename T, uint A>
inline void copyFromStackToThreadGroup1(threadgroup T (&dst)[A], thread const T (&src)[A])
{
    for (uint i = 0; i < A; i++)
    {
        dst[i] = src[i];
    }
}

template<typename T, uint A>
inline void copyFromDeviceToStack1(thread T (&dst)[A], device const T (&src)[A])
{
    for (uint i = 0; i < A; i++)
    {
        dst[i] = src[i];
    }
}

struct Block
{
    float values[4];
    float grid[2][3];
};

constant float table[4] = { 1.0, 2.0, 3.0, 4.0 };

kernel void main0(device Block& block [[buffer(0)]], constant Block& fixedBlock [[buffer(1)]], uint index [[thread_index_in_threadgroup]])
{
    float a[4];
    copyFromConstantToStack1(a, table);
    float b[4];
    copyFromStackToStack1(b, a);
    float c[2][3] = { { 1.0, 2.0, 3.0 }, { 4.0, 5.0, 6.0 } };
    float d[2][3];
    copyFromStackToStack2(d, c);
    threadgroup float e[4];
    copyFromStackToThreadGroup1(e, b);
    float f[4];
    copyFromDeviceToStack1(f, block.values);
    float g[4];
    copyFromConstantToStack1(g, fixedBlock.values);
    block.values[index] = (a[1] + b[index]) + (d[1][index] + e[3]) + (f[2] + g[index]);
}
