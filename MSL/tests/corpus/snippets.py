# What generated shader files are put together from. A snippet is one thing that shader translators write: declarations
# for the file's scope, parameters for its main function, fields for its inputs and outputs, and statements. The
# statements add to `acc`, a float4; they may use `idx` (uint), `uv` (float2) and `num` (int, known at run time only).
# In parameters $B, $T and $S stand for the next free buffer, texture and sampler index, and $L for the next location.

ALL = ("kernel", "vertex", "fragment")
KERNEL = ("kernel",)
VERTEX = ("vertex",)
FRAGMENT = ("fragment",)


class Snippet:
    def __init__(self, name, body="", top="", params=(), stages=ALL, fields_in=(), fields_out=(), needs=(), excludes=()):
        self.name, self.body, self.top, self.params, self.stages = name, body, top, tuple(params), stages
        self.fields_in, self.fields_out, self.needs = tuple(fields_in), tuple(fields_out), tuple(needs)
        self.excludes = tuple(excludes)


# Declarations that several snippets share; each comes once, before the snippets'.
SHARED = {
    "wrapped_array": """
template<typename T, size_t Num>
struct WrappedArray
{
    T elements[Num ? Num : 1];

    thread T& operator [] (size_t pos) thread
    {
        return elements[pos];
    }
    constexpr const thread T& operator [] (size_t pos) const thread
    {
        return elements[pos];
    }

    device T& operator [] (size_t pos) device
    {
        return elements[pos];
    }
    constexpr const device T& operator [] (size_t pos) const device
    {
        return elements[pos];
    }

    constexpr const constant T& operator [] (size_t pos) const constant
    {
        return elements[pos];
    }

    threadgroup T& operator [] (size_t pos) threadgroup
    {
        return elements[pos];
    }
    constexpr const threadgroup T& operator [] (size_t pos) const threadgroup
    {
        return elements[pos];
    }
};
""",
    "mod": """
template<typename Tx, typename Ty>
inline Tx mod(Tx x, Ty y)
{
    return x - y * floor(x / y);
}
""",
}

S = Snippet
SNIPPETS = [
    # ------------------------------------------------------------------------------------------ structs and layout
    S("packed_members", """
    acc.xyz += float3(_13.position) * _13.weight;
    acc.w += float(_13.flags) + _13.tail.y;
""", """
struct PackedItem
{
    packed_float3 position;
    float weight;
    uint flags;
    char _m3_pad[12];
    float4 tail;
};
""", ["constant PackedItem& _13 [[buffer($B)]]"]),
    S("padded_struct", """
    acc += _14.first[1] + float4(_14.second.a, _14.second.b, 0.0);
    acc.x += float(_14.third.x);
""", """
struct Inner
{
    float a;
    char _m1_pad[4];
    packed_float2 b;
};

struct Padded
{
    float4 first[3];
    Inner second;
    char _m2_pad[8];
    int2 third;
};
""", ["constant Padded& _14 [[buffer($B)]]"]),
    S("runtime_array", """
    acc += _15.items[idx].value * _15.scale;
    acc.y += _15.items[idx + 1u].value.x;
""", """
struct RuntimeItem
{
    float4 value;
};

struct RuntimeItems
{
    float4 scale;
    RuntimeItem items[1];
};
""", ["const device RuntimeItems& _15 [[buffer($B)]]"]),
    S("runtime_array_written", """
    if (idx < _16.count)
    {
        _16.values[idx] += float3(1.0);
        _16.values[idx].x = uv.x;
        _16.last = idx;
    }
""", """
struct WrittenItems
{
    uint count;
    uint last;
    packed_float3 values[1];
};
""", ["device WrittenItems& _16 [[buffer($B)]]"], KERNEL),
    S("bool_members", """
    bool _17a = bool(_17.on);
    bool2 _17b = bool2(_17.pair);
    if (_17a && !_17b.x)
    {
        acc.x += 1.0;
    }
    acc.yz += float2(_17b);
""", """
struct Flags
{
    uint on;
    short2 pair;
};
""", ["constant Flags& _17 [[buffer($B)]]"]),
    S("nested_arrays_in_struct", """
    acc.xy += _18.grid[num][1].cells[idx & 3u].xy;
    acc.z += _18.weights[2][num];
""", """
struct Cell
{
    float4 cells[4];
};

struct GridOfCells
{
    Cell grid[2][3];
    float weights[4][5];
};
""", ["constant GridOfCells& _18 [[buffer($B)]]"]),
    S("struct_copy", """
    Sphere _19 = Sphere{ float3(uv, 1.0), 0.5, uint2(1u, 2u) };
    Sphere _19b = _19;
    _19b.centre.z = float(num);
    _19b.ids[1] = idx;
    acc += float4(_19b.centre - _19.centre, _19b.radius) + float4(float2(_19b.ids), float2(0.0));
""", """
struct Sphere
{
    float3 centre;
    float radius;
    uint2 ids;
};
"""),
    S("struct_return", """
    Pair _20 = makePair(uv.x, num);
    acc.x += _20.first + float(_20.second) + makePair(uv.y, 3).first;
""", """
struct Pair
{
    float first;
    int second;
};

static inline __attribute__((always_inline))
Pair makePair(thread const float& first, thread const int& second)
{
    return Pair{ first, second };
}
"""),
    S("zero_initialised", """
    Zeroed _21 = {};
    float _21a[4] = {};
    float3 _21b = {};
    _21a[num & 3] = 1.0;
    acc.xyz += _21.a + _21b + float3(_21a[1], _21a[2], float(_21.b[num & 1]));
""", """
struct Zeroed
{
    float3 a;
    int b[2];
};
"""),
    S("device_struct_pointer", """
    acc += (_22 + 1)->colour * _22->weight;
    acc += _22[idx].colour;
""", """
struct PointedAt
{
    float4 colour;
    float weight;
};
""", ["const device PointedAt* _22 [[buffer($B)]]"]),
    S("constant_pointer", """
    acc += float4(_23[0], _23[idx], _23[num], *_23);
""", "", ["constant float* _23 [[buffer($B)]]"]),
    S("argument_buffer", """
    acc += _24.image.sample(_24.imageSmplr, uv, level(0.0)) * (*_24.constants);
    acc.x += _24.data[idx];
""", """
struct ArgumentSet0
{
    texture2d<float> image [[id(0)]];
    sampler imageSmplr [[id(1)]];
    constant float4* constants [[id(2)]];
    const device float* data [[id(3)]];
};
""", ["constant ArgumentSet0& _24 [[buffer($B)]]"]),

    # --------------------------------------------------------------------------------------------- functions
    S("helpers_by_reference", """
    float4 _25 = float4(uv, 0.0, 1.0);
    scaleInPlace(_25, uv.x);
    float _25a;
    float _25b;
    splitInTwo(uv, _25a, _25b);
    acc += _25 + float4(_25a, _25b, 0.0, 0.0);
""", """
static inline __attribute__((always_inline))
void scaleInPlace(thread float4& value, thread const float& factor)
{
    value *= factor;
    value.w = 1.0;
}

static inline __attribute__((always_inline))
void splitInTwo(thread const float2& value, thread float& low, thread float& high)
{
    low = fast::min(value.x, value.y);
    high = fast::max(value.x, value.y);
}
"""),
    S("helpers_constant_reference", """
    acc += shadeWith(_26, uv, _26.tints[1]);
""", """
struct Material
{
    float4 tints[2];
    float gloss;
};

static inline __attribute__((always_inline))
float4 shadeWith(constant Material& material, thread const float2& at, constant float4& tint)
{
    return (material.tints[0] * at.x) + (tint * (at.y * material.gloss));
}
""", ["constant Material& _26 [[buffer($B)]]"]),
    S("helpers_device_reference", """
    addTo(_27, idx, 2.0);
    acc.x += readFrom(_27, num);
""", """
struct Accumulated
{
    float total;
    float values[1];
};

static inline __attribute__((always_inline))
void addTo(device Accumulated& target, thread const uint& at, thread const float& amount)
{
    target.values[at] += amount;
    target.total = amount;
}

static inline __attribute__((always_inline))
float readFrom(const device Accumulated& source, thread const int& at)
{
    return source.values[at] + source.total;
}
""", ["device Accumulated& _27 [[buffer($B)]]"], KERNEL),
    S("overloaded_helpers", """
    acc.x += measure(uv) + measure(float3(uv, 1.0)) + measure(num);
""", """
static inline __attribute__((always_inline))
float measure(thread const float2& v)
{
    return length(v);
}

static inline __attribute__((always_inline))
float measure(thread const float3& v)
{
    return length(v);
}

static inline __attribute__((always_inline))
float measure(thread const int& v)
{
    return float(abs(v));
}
"""),
    S("early_returns", """
    acc.y += classify(uv.x);
""", """
static inline __attribute__((always_inline))
float classify(thread const float& x)
{
    if (x < 0.25)
    {
        return 1.0;
    }
    else
    {
        if (x < 0.5)
        {
            return 2.0;
        }
        for (int i = 0; i < 4; i++)
        {
            if (x > float(i) * 0.2)
            {
                return float(i);
            }
        }
    }
    return -1.0;
}
"""),
    S("template_mod", """
    acc.xy += mod(uv, float2(0.3)) + mod(uv, 0.7);
    acc.z += mod(float(num), 3.0);
""", needs=["mod"]),
    S("template_helpers", """
    acc.xy += radians(uv * 90.0);
    acc.z += signOf(num) + float(signOf(idx & 1u)) + radians(45.0);
    acc.w += pick<1>(uv) + pick<0>(float3(uv, 2.0));
""", """
template<typename T>
inline T radians(T d)
{
    return d * T(0.01745329251);
}

template<typename T, typename E = int>
inline T signOf(T x)
{
    return select(select(select(x, T(0), x == T(0)), T(1), x > T(0)), T(-1), x < T(0));
}

template<int N, typename T>
inline float pick(T v)
{
    return v[N];
}
""", excludes=["scalar_templates"]),
    S("scalar_templates", """
    acc.x += reflectScalar(uv.x, uv.y) + faceForwardScalar(uv.x, uv.y, acc.x);
    acc.y += refractScalar(uv.x, 0.6, 0.9);
""", """
template<typename T>
[[clang::optnone]] T reflectScalar(T i, T n)
{
    return i - T(2) * i * n * n;
}

template<typename T>
inline T faceForwardScalar(T n, T i, T nref)
{
    return i * nref < T(0) ? n : -n;
}

template<typename T>
inline T refractScalar(T i, T n, T eta)
{
    T NoI = n * i;
    T NoI2 = NoI * NoI;
    T k = T(1) - eta * eta * (T(1) - NoI2);
    if (k < T(0))
    {
        return T(0);
    }
    else
    {
        return eta * i - (eta * NoI + sqrt(k)) * n;
    }
}
""", excludes=["template_helpers"]),
    S("template_specialised", """
    acc.x += wide<float>(uv.x) + float(wide<int>(num));
""", """
template<typename T>
inline T wide(T x)
{
    return x * T(2);
}

template<>
inline int wide<int>(int x)
{
    return x << 1;
}
"""),
    S("prototypes", """
    acc.w += laterDefined(uv.x, num);
""", """
float laterDefined(float x, int y);

float laterDefined(float x, int y)
{
    return x * float(y);
}
"""),
    S("struct_with_methods", """
    Box _33 = Box(float2(0.25), uv);
    if (_33.contains(uv * 0.5))
    {
        acc += _33.size().xyxy;
    }
    _33 += uv;
    acc.x += (_33 * 2.0).high.x;
""", """
struct Box
{
    float2 low;
    float2 high;
    Box(float2 l, float2 h) : low(l), high(h) {}
    bool contains(float2 p) const { return all(p >= low) && all(p <= high); }
    float2 size() const { return high - low; }
    thread Box& operator+=(float2 by) { low += by; high += by; return *this; }
};

inline Box operator*(Box box, float by) { return Box(box.low * by, box.high * by); }
"""),

    # ------------------------------------------------------------------------------------------ arrays and tables
    S("constant_table", """
    acc.x += _34[num] + _34[2];
    acc += _34b[idx % 3u];
    acc.y += float(_34c[1][num & 1]);
""", """
constant float _34[4] = { 0.25, 0.5, 0.75, 1.0 };
constant float4 _34b[3] = { float4(1.0), float4(0.0, 1.0, 0.0, 1.0), float4(2.0) };
constant int _34c[2][2] = { { 1, 2 }, { 3, 4 } };
"""),
    S("constant_wrapped_table", """
    acc.x += _35[num] + _35b[1][num];
    acc += _35c[idx & 1u].tint;
""", """
struct Row
{
    float4 tint;
    float weight;
};

constant WrappedArray<float, 4> _35 = WrappedArray<float, 4>({ 1.0, 2.0, 3.0, 4.0 });
constant WrappedArray<WrappedArray<float, 2>, 2> _35b = WrappedArray<WrappedArray<float, 2>, 2>({ WrappedArray<float, 2>({ 1.0, 2.0 }), WrappedArray<float, 2>({ 3.0, 4.0 }) });
constant WrappedArray<Row, 2> _35c = WrappedArray<Row, 2>({ Row{ float4(1.0), 0.5 }, Row{ float4(0.0), 0.25 } });
""", needs=["wrapped_array"]),
    S("local_wrapped_array", """
    WrappedArray<float, 5> _36 = WrappedArray<float, 5>({ 0.0, 1.0, 2.0, 3.0, 4.0 });
    WrappedArray<float, 5> _36b = _36;
    _36[num] = 7.0;
    _36b[4] += _36[idx % 5u];
    WrappedArray<WrappedArray<int, 3>, 2> _36c;
    for (int i = 0; i < 2; i++)
    {
        for (int j = 0; j < 3; j++)
        {
            _36c[i][j] = i * j;
        }
    }
    acc.x += _36b[4] + float(_36c[1][num]);
    acc.y += sumOf(_36);
""", """
static inline __attribute__((always_inline))
float sumOf(thread const WrappedArray<float, 5>& values)
{
    float sum = 0.0;
    for (uint i = 0u; i < 5u; i++)
    {
        sum += values[i];
    }
    return sum;
}
""", needs=["wrapped_array"]),
    S("wrapped_array_returned", """
    WrappedArray<float4, 2> _37 = twoColours(uv);
    acc += _37[0] + _37[num & 1];
""", """
static inline __attribute__((always_inline))
WrappedArray<float4, 2> twoColours(thread const float2& at)
{
    return WrappedArray<float4, 2>({ float4(at, 0.0, 1.0), float4(at.y) });
}
""", needs=["wrapped_array"]),
    S("wrapped_array_in_buffer", """
    acc.x += _38.values[num] + _38.nested[1][idx & 1u];
""", """
struct WithWrapped
{
    float header;
    WrappedArray<float, 6> values;
    WrappedArray<WrappedArray<float, 2>, 2> nested;
};
""", ["const device WithWrapped& _38 [[buffer($B)]]"], needs=["wrapped_array"]),
    S("local_arrays", """
    float _39[4] = { uv.x, uv.y, 0.0, 1.0 };
    int2 _39b[2] = { int2(1, num), int2(3) };
    float _39c[2][3];
    _39c[0][0] = _39[num & 3];
    _39c[1][2] = 2.0;
    _39[2] = _39c[1][num % 3];
    acc += float4(_39[0], _39[1], _39[2], float(_39b[idx & 1u].y));
"""),
    S("library_array", """
    array<float, 3> _40 = { 1.0, 2.0, 3.0 };
    _40[num] += uv.x;
    acc.x += _40[0] + _40[1] * _40[2] + float(_40.size());
"""),
    S("array_parameter", """
    float _41[3] = { 0.5, 1.5, 2.5 };
    fillFirst(_41, uv.x);
    acc.z += totalOf(_41);
""", """
static inline __attribute__((always_inline))
void fillFirst(thread float (&values)[3], thread const float& with)
{
    values[0] = with;
}

static inline __attribute__((always_inline))
float totalOf(thread const float (&values)[3])
{
    return (values[0] + values[1]) + values[2];
}
"""),

    # ------------------------------------------------------------------------------------------ control flow
    S("switch_fall_through", """
    switch (num)
    {
        case 0:
        {
            acc.x += 1.0;
            break;
        }
        case 1:
        case 2:
        {
            acc.y += 1.0;
        }
        case 3:
        {
            acc.z += 2.0;
            break;
        }
        default:
        {
            acc.w += 3.0;
            break;
        }
        case 20:
        {
            acc = float4(0.0);
            break;
        }
    }
"""),
    S("switch_in_loop", """
    for (uint _43 = 0u; _43 < 8u; _43++)
    {
        switch (_43 % 3u)
        {
            case 0u:
            {
                continue;
            }
            case 1u:
            {
                acc.x += 0.5;
                break;
            }
            default:
            {
                break;
            }
        }
        if (acc.x > 3.0)
        {
            break;
        }
        acc.y += 0.25;
    }
"""),
    S("switch_returns", """
    acc.x += choose(num) + choose(int(idx));
""", """
static inline __attribute__((always_inline))
float choose(thread const int& which)
{
    switch (which)
    {
        case -1:
            return 0.5;
        case 7:
            return 7.0;
        default:
            return 1.0;
    }
}
"""),
    S("do_while", """
    int _45 = num;
    do
    {
        acc.x += 0.125;
        _45 /= 3;
        if (_45 == 4)
        {
            continue;
        }
        acc.y += 1.0;
    } while (_45 > 0);
"""),
    S("endless_loops", """
    uint _46 = 0u;
    for (;;)
    {
        if (_46 >= 5u)
        {
            break;
        }
        else
        {
            acc.z += 1.0;
        }
        _46++;
    }
    while (true)
    {
        _46--;
        if (_46 == 0u)
        {
            break;
        }
    }
"""),
    S("nested_loops", """
    for (int _47 = 0, _47b = 9; _47 < _47b; _47++, _47b--)
    {
        int _47c = 0;
        while (_47c < 3)
        {
            _47c++;
            if ((_47c + _47) == num)
            {
                continue;
            }
            acc.x += float(_47c);
        }
    }
"""),
    S("ladder", """
    float _48;
    if (uv.x < 0.2)
    {
        _48 = 1.0;
    }
    else if (uv.x < 0.4)
    {
        _48 = 2.0;
    }
    else
    {
        if (uv.y > 0.5)
        {
            _48 = 3.0;
        }
        else
        {
            _48 = 4.0;
        }
    }
    acc.x += _48;
"""),
    S("phi_copies", """
    float _49;
    float _49_copy;
    _49 = 1.0;
    for (int _49i = 0; _49i < 5; _49_copy = _49, _49i++, _49 += _49_copy * 0.5)
    {
        acc.w += _49;
    }
"""),
    S("ternaries", """
    float _50 = (uv.x > 0.5) ? uv.x : ((uv.y > 0.5) ? uv.y : 0.0);
    float3 _50b = (num > 2) ? float3(1.0) : float3(uv, 0.0);
    acc.xyz += _50b * _50;
    acc.w += float((num & 1) != 0 ? 1u : idx);
"""),
    S("short_circuit", """
    bool _51 = uv.x > 0.5;
    bool _51b;
    if (_51)
    {
        _51b = uv.y < 0.5;
    }
    else
    {
        _51b = _51;
    }
    if ((_51b || (num > 3)) && !(idx == 7u))
    {
        acc.x += 1.0;
    }
"""),

    # ------------------------------------------------------------------------------------------ numbers
    S("vector_arithmetic", """
    float3 _52 = float3(uv, 1.0);
    _52 = (_52 * 2.0) - float3(1.0);
    _52 = -_52.zyx / float3(3.0, 2.0, 1.0);
    _52.xy = _52.yx;
    _52.z *= dot(_52, _52);
    acc += _52.xyzz + _52.xxyy;
    acc.zw -= uv;
"""),
    S("integer_arithmetic", """
    int4 _53 = int4(num, 2, 3, 4);
    uint4 _53b = uint4(idx, 2u, 3u, 4u);
    _53 = (_53 * 3) / int4(1, 2, 3, 4);
    _53 %= int4(7);
    _53b = (_53b << uint4(1u)) | (_53b >> uint4(2u));
    _53b ^= uint4(255u) & ~_53b;
    acc += float4(_53) + float4(_53b);
    acc.x += float((num % 5) / 2) + float(idx % 5u);
"""),
    S("conversions", """
    int3 _54 = int3(float3(uv, -2.5));
    uint2 _54b = uint2(uv * 255.0);
    half3 _54c = half3(float3(uv, 0.5));
    short2 _54d = short2(_54.xy);
    uchar4 _54e = uchar4(uint4(_54b, _54b));
    bool3 _54f = bool3(_54);
    acc.xyz += float3(_54) + float3(_54c) + float3(_54f);
    acc.xy += float2(_54d) + float2(_54b);
    acc += float4(_54e);
"""),
    S("static_casts", """
    acc.x += static_cast<float>(num) + static_cast<float>(static_cast<uint>(uv.x));
    acc.y += (float)num + float(int(uv.y));
"""),
    S("bit_casts", """
    uint _56 = as_type<uint>(uv.x);
    int2 _56b = as_type<int2>(uv);
    float3 _56c = as_type<float3>(uint3(_56, 1065353216u, 0u));
    half2 _56d = as_type<half2>(_56);
    acc.x += as_type<float>(_56 & 0x7fffffffu) + float(_56b.x) + _56c.y;
    acc.y += float(_56d.x) + float(as_type<ushort2>(_56).y);
    acc.z += as_type<float>(0x7f7fffffu);
"""),
    S("half_arithmetic", """
    half4 _57 = half4(half2(uv), half(0.5), half(1.0));
    _57 = (_57 * half(2.0)) + half4(0.25h);
    half _57b = dot(_57, half4(half(1.0)));
    half3x3 _57c = half3x3(half3(half(1.0)), half3(half(0.5)), half3(half(0.25)));
    half3 _57d = _57c * _57.xyz;
    acc += float4(_57) + float4(float(_57b)) + float4(float3(_57d), 0.0);
"""),
    S("small_integers", """
    short _58 = short(num);
    ushort3 _58b = ushort3(uint3(idx));
    char4 _58c = char4(int4(num));
    uchar _58d = uchar(idx);
    _58 += short(3);
    _58b *= ushort3(ushort(2));
    acc.x += float(_58) + float(_58b.y) + float(_58c.z) + float(_58d);
    acc.y += float(short(_58 << short(1))) + float(uchar(_58d + uchar(1)));
"""),
    S("long_integers", """
    ulong _59 = ulong(idx) * 4294967296ul;
    long _59b = long(num) - 5l;
    _59 |= (_59 >> 3ul);
    acc.x += float(_59 % 1000ul) + float(_59b);
    acc.y += (_59 > 17ul) ? 1.0 : 0.0;
    long2 _59c = long2(_59b, 3l) * 2l;
    acc.z += float(_59c.x / _59c.y);
"""),
    S("boolean_vectors", """
    bool3 _60 = float3(uv, 0.5) < float3(0.25);
    bool4 _60b = bool4(_60, true);
    bool2 _60c = !(uv == float2(0.0));
    if (any(_60) || all(_60b) || _60c.x)
    {
        acc.x += 1.0;
    }
    acc.yzw += select(float3(1.0), float3(uv, 2.0), _60);
    acc.xy += float2(_60c & bool2(true, false));
"""),
    S("floating_tests", """
    float _61 = uv.x / uv.y;
    if (isnan(_61) || isinf(_61))
    {
        acc.x += 1.0;
    }
    acc.y += float(isnormal(_61)) + float(isunordered(_61, uv.x)) + float(signbit(_61)) + float(isfinite(_61));
    acc.zw += select(uv, float2(1.0), isnan(uv));
"""),
    S("common_functions", """
    acc.xy += fast::clamp(uv, float2(0.0), float2(1.0)) + mix(uv, uv.yx, float2(0.5)) + mix(uv, uv.yx, 0.25);
    acc.z += step(0.5, uv.x) + smoothstep(0.1, 0.9, uv.y) + fract(uv.x * 7.0) + sign(uv.x - 0.5);
    acc.w += saturate(uv.x) + abs(uv.y) + fast::max(uv.x, 0.1) + fast::min(uv.y, 0.9);
    acc.xyz += precise::normalize(float3(uv, 1.0)) + fast::normalize(float3(1.0, uv));
"""),
    S("trigonometry", """
    acc.x += sin(uv.x) + cos(uv.y) + tan(uv.x) + asin(uv.x) + acos(uv.y) + atan(uv.x);
    acc.y += sinh(uv.x) + cosh(uv.y) + tanh(uv.x) + asinh(uv.x) + acosh(uv.y + 1.0) + atanh(uv.x * 0.5);
    acc.zw += float2(precise::atan2(uv.y, uv.x), fast::sin(uv.x));
    acc.xyz += sin(float3(uv, 1.0)) * cos(float3(1.0, uv));
"""),
    S("exponentials", """
    acc.x += exp(uv.x) + exp2(uv.y) + log(uv.x + 1.0) + log2(uv.y + 1.0) + sqrt(uv.x) + rsqrt(uv.y + 1.0);
    acc.y += pow(uv.x, 2.2) + powr(uv.x, 2.2) + fma(uv.x, uv.y, 1.0) + ldexp(uv.x, num) + fmod(uv.x, 0.3);
    acc.zw += pow(uv, float2(2.0)) + precise::log(uv + 1.0);
"""),
    S("other_names", """
    acc.x += fabs(uv.x) + fmax(uv.x, uv.y) + fmin(uv.x, 0.5) + copysign(uv.x, -uv.y) + distance_squared(uv, float2(0.5));
    float _64c;
    float _64 = sincos(uv.x, _64c);
    uint32_t _64u = uint32_t(idx) + static_cast<uint32_t>(num);
    acc.yz += float2(_64, _64c) + copysign(uv, float2(-1.0)) + fdim(uv, uv.yx);
    acc.w += float(_64u) + length_squared(uv) + exp10(uv.x) + log10(uv.y + 1.0) + sinpi(uv.x) + cospi(uv.y);
"""),
    S("rounding", """
    acc.x += floor(uv.x * 5.0) + ceil(uv.y * 5.0) + trunc(uv.x * 5.0) + rint(uv.y * 5.0) + round(uv.x);
    acc.yz += rint(uv * 3.0) + trunc(uv);
    float _65;
    float _65b = modf(uv.x * 9.0, _65);
    int _65c;
    float _65d = frexp(uv.y, _65c);
    acc.w += _65 + _65b + float(_65c) + _65d;
    float3 _65e;
    acc.xyz += modf(float3(uv, 2.5), _65e) + _65e;
"""),
    S("geometry", """
    float3 _66 = float3(uv, 1.0);
    acc.xyz += cross(_66, float3(0.0, 1.0, 0.0)) + reflect(_66, float3(0.0, 0.0, 1.0)) + refract(_66, float3(0.0, 1.0, 0.0), 0.9);
    acc.w += distance(uv, float2(0.5)) + dot(_66, _66.zxy) + length(uv);
    acc.xyz += faceforward(_66, _66.yzx, _66.zxy);
"""),
    S("integer_functions", """
    acc.x += float(max(num, 3)) + float(min(idx, 5u)) + float(clamp(num, 0, 7)) + float(abs(num));
    acc.y += float(mulhi(num, 77777)) + float(mulhi(idx, 99999u)) + float(absdiff(num, 5)) + float(rhadd(num, 3)) + float(hadd(idx, 3u));
    acc.z += float(addsat(num, 2147483640)) + float(subsat(idx, 7u)) + float(mad24(num, 3, 4)) + float(mul24(num, 5));
    acc.w += float(min3(num, 1, 2)) + float(max3(num, 1, 2)) + float(median3(num, 1, 2)) + min3(uv.x, uv.y, 0.5);
"""),
    S("bit_functions", """
    acc.x += float(popcount(idx)) + float(reverse_bits(idx) & 255u) + float(clz(idx)) + float(ctz(idx));
    acc.y += float(extract_bits(idx, 3u, 5u)) + float(extract_bits(num, 3u, 5u)) + float(insert_bits(idx, 7u, 4u, 3u));
    acc.zw += float2(popcount(uint2(idx, 5u))) + float2(lowestBit(int2(num)));
    acc.x += float(highestBit(idx)) + float(rotate(idx, 5u));
""", """
template<typename T>
inline T lowestBit(T x)
{
    return select(ctz(x), T(-1), x == T(0));
}

inline int highestBit(uint x)
{
    return select(31 - int(clz(x)), -1, x == 0u);
}
"""),
    S("packing", """
    uint _69 = pack_float_to_unorm4x8(float4(uv, 0.5, 1.0));
    uint _69b = pack_float_to_snorm2x16(uv);
    uint _69c = pack_float_to_unorm2x16(uv);
    uint _69d = pack_float_to_snorm4x8(float4(-uv, 0.5, 1.0));
    uint _69e = as_type<uint>(half2(uv));
    acc += unpack_unorm4x8_to_float(_69) + unpack_snorm4x8_to_float(_69d);
    acc.xy += unpack_snorm2x16_to_float(_69b) + unpack_unorm2x16_to_float(_69c) + float2(as_type<half2>(_69e));
"""),
    S("literals", """
    acc.x += 1e-3 + 2.5e+2 + 0x1.8p+1 + 3.0f + .5 + 1.;
    acc.y += float(0xffu) + float(0b101) + float(077) + float(5u) + float(-3);
    acc.z += float(0.5h) + as_type<float>(0x7f800000u) * 0.0;
    acc.w += float(-2147483647 - 1) * 1e-9;
"""),
    S("vec_template", """
    vec<float, 3> _71 = vec<float, 3>(uv, 1.0);
    vec<int, 2> _71b = vec<int, 2>(num);
    acc.xyz += _71;
    acc.xy += float2(_71b);
"""),
    S("vector_indexing", """
    float4 _72 = float4(uv, 0.25, 0.75);
    _72[num & 3] = 1.0;
    _72[2] = _72[idx & 3u];
    acc += _72;
    acc.x += uv[num & 1];
"""),

    # ------------------------------------------------------------------------------------------ matrices
    S("square_matrices", """
    float4 _73 = _73m.transform * float4(uv, 0.0, 1.0);
    float3 _73b = _73m.normals * _73.xyz;
    float2 _73c = uv * _73m.turn;
    acc += _73 + float4(_73b, _73c.x);
    acc += transpose(_73m.transform)[2] + _73m.transform[num & 3];
    acc.x += determinant(_73m.turn) + _73m.transform[1][2];
""", """
struct Matrices
{
    float4x4 transform;
    float3x3 normals;
    float2x2 turn;
};
""", ["constant Matrices& _73m [[buffer($B)]]"]),
    S("odd_matrices", """
    float2x3 _74a = float2x3(float3(uv, 1.0), float3(2.0));
    float3x2 _74b = transpose(_74a);
    float4x3 _74c = float4x3(float3(1.0), float3(uv, 0.0), float3(0.5), float3(0.25));
    float3x4 _74d = transpose(_74c);
    float2x4 _74e = float2x4(float4(uv, uv), float4(1.0));
    float4x2 _74f = transpose(_74e);
    float2x2 _74g = _74b * _74a;
    float3x3 _74h = _74c * _74d;
    acc.xy += _74g[0] + (_74f * float4(uv, 1.0, 1.0));
    acc.xyz += _74h[1] + (_74a * uv);
    acc += _74e * uv;
    acc += _74d * float3(uv, 1.0);
"""),
    S("matrix_construction", """
    float2x2 _75 = float2x2(float2(cos(uv.x), -sin(uv.x)), float2(sin(uv.x), cos(uv.x)));
    float3x3 _75b = float3x3(float3(1.0, 0.0, 0.0), float3(0.0, 1.0, 0.0), float3(uv, 1.0));
    float4x4 _75c = float4x4(_75b[0].xyzz, _75b[1].xyzz, float4(0.0), float4(1.0));
    float4x4 _75d = float4x4(2.0);
    float3x3 _75e = float3x3(_75c[0].xyz, _75c[1].xyz, _75c[2].xyz);
    _75c[3] = float4(uv, 0.0, 1.0);
    _75c[0].y = 2.0;
    _75c[1][2] += 3.0;
    acc += _75c * _75d[1];
    acc.xyz += (_75e * 2.0)[0];
    acc.xy += uv * _75;
    _75d *= _75c;
    acc += (_75d + _75c)[num & 3] - (-_75c)[2];
"""),
    S("matrix_arrays", """
    acc += _76.bones[idx & 3u] * float4(uv, 0.0, 1.0);
    acc.xyz += float3(_76.rows[0][0], _76.rows[1][0], _76.rows[2][0]);
""", """
struct Bones
{
    float4x4 bones[4];
    float3x4 rows;
};
""", ["const device Bones& _76 [[buffer($B)]]"]),
    S("matrix_inverse", """
    acc.xy += inverse2x2(float2x2(float2(2.0, uv.x), float2(uv.y, 3.0))) * uv;
    acc.x += (inverse3x3(float3x3(float3(2.0, 0.0, uv.x), float3(0.0, 1.0, 0.0), float3(uv, 1.0))) * float3(1.0)).z;
""", """
static inline __attribute__((always_inline))
float det2x2(float a1, float a2, float b1, float b2)
{
    return a1 * b2 - b1 * a2;
}

static inline __attribute__((always_inline))
float2x2 inverse2x2(float2x2 m)
{
    float2x2 adj;
    adj[0][0] =  m[1][1];
    adj[0][1] = -m[0][1];
    adj[1][0] = -m[1][0];
    adj[1][1] =  m[0][0];
    float det = (adj[0][0] * m[0][0]) + (adj[0][1] * m[1][0]);
    return (det != 0.0f) ? (adj * (1.0f / det)) : m;
}

static inline __attribute__((always_inline))
float3x3 inverse3x3(float3x3 m)
{
    float3x3 adj;
    adj[0][0] =  det2x2(m[1][1], m[1][2], m[2][1], m[2][2]);
    adj[0][1] = -det2x2(m[0][1], m[0][2], m[2][1], m[2][2]);
    adj[0][2] =  det2x2(m[0][1], m[0][2], m[1][1], m[1][2]);
    adj[1][0] = -det2x2(m[1][0], m[1][2], m[2][0], m[2][2]);
    adj[1][1] =  det2x2(m[0][0], m[0][2], m[2][0], m[2][2]);
    adj[1][2] = -det2x2(m[0][0], m[0][2], m[1][0], m[1][2]);
    adj[2][0] =  det2x2(m[1][0], m[1][1], m[2][0], m[2][1]);
    adj[2][1] = -det2x2(m[0][0], m[0][1], m[2][0], m[2][1]);
    adj[2][2] =  det2x2(m[0][0], m[0][1], m[1][0], m[1][1]);
    float det = (adj[0][0] * m[0][0]) + (adj[0][1] * m[1][0]) + (adj[0][2] * m[2][0]);
    return (det != 0.0f) ? (adj * (1.0f / det)) : m;
}
"""),

    # ------------------------------------------------------------------------------------------ function constants
    S("function_constants", """
    for (int _78i = 0; _78i < _78; _78i++)
    {
        acc.x += _78c;
    }
    if (_78b)
    {
        acc.y += float(_78d);
    }
    acc.z += float(_78e);
""", """
constant int _78_tmp [[function_constant(0)]];
constant int _78 = is_function_constant_defined(_78_tmp) ? _78_tmp : 4;
constant bool _78b_tmp [[function_constant(1)]];
constant bool _78b = is_function_constant_defined(_78b_tmp) ? _78b_tmp : true;
constant float _78c_tmp [[function_constant(2)]];
constant float _78c = is_function_constant_defined(_78c_tmp) ? _78c_tmp : 0.5;
constant uint _78d [[function_constant(3)]];
constant int _78e = (_78 + 2);
"""),
    S("constant_expressions", """
    float _79f[_79];
    _79f[num & (_79 - 1)] = 1.0;
    acc.x += _79f[0] + float(_79b.y) + _79c.z;
    acc.y += _79d ? 1.0 : 0.0;
""", """
constant int _79 = (4 * 2);
constant uint3 _79b = uint3(1u, 2u, 3u);
constant float3 _79c = float3(0.25, 0.5, 0.75);
constant bool _79d = (_79 > 6);
constant float4 _79e [[maybe_unused]] = float4(1.0);
"""),
]
