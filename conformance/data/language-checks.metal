// Facts of the language, each checked at run time: the picture is green when all hold; otherwise its red is the number
// (over 255) of the first CHECK that failed, counted from 1. u.frame must be 0: it makes zeros that no compiler can see.

struct H {
    float d;
    float3 n;
};
void addTo(thread float& v, float by = 1.0) {
    v += by;
}
void touch(thread H& h) {
    addTo(h.d);
    addTo(h.d, 2.0);
    h.n = float3(h.d);
    h.n.yz *= 2.0;
}
void swap2(thread float* a, thread float* b) {
    float t = *a;
    *a = *b;
    *b = t;
}
float alias2(thread float& a, thread float& b) {
    a = 1.0;
    b = 2.0;
    return a;
}
float sumv(thread float v[4]) {
    float s = 0;
    for (int i = 0; i < 4; i++)
        s += v[i];
    return s;
}
float walk(thread float* p, int n) {
    float s = 0;
    while (n-- > 0)
        s = s * 10.0 + *p++;
    return s;
}
float sw(int m) {
    float r = 0;
    switch (m) {
    case 0: r = 1;
    case 1: r += 2; break;
    case 2:
    case 3: {
        r = 5;
        break;
    }
    default: r = 9;
    }
    return r;
}
float early(float x) {
    for (int i = 0; i < 10; i++) {
        for (int j = 0; j < 10; j++) {
            if (i * 10 + j == int(x)) return float(i * 100 + j);
        }
    }
    return -1.0;
}
union U {
    float f;
    uint u;
    uchar4 b;
};
struct R {
    float3 o, d;
    R(float3 a, float3 b) : o(a), d(b) { o += 1.0; }
    float3 at(float t) const { return o + t * d; }
    void move(float t) { o = at(t); }
    thread R& me() { return *this; }
};
template <int N>
float rep(float v) {
    for (int i = 0; i < N; i++)
        v *= 2.0;
    return v;
}
struct C {
    float2 v;
};
C operator*(C a, C b) {
    return C{float2(a.v.x * b.v.x - a.v.y * b.v.y, a.v.x * b.v.y + a.v.y * b.v.x)};
}
thread C& operator+=(thread C& a, C b) {
    a.v += b.v;
    return a;
}
constant float3 ramp[3] = {float3(1), float3(2), float3(3, 4, 5)};
struct L {
    float power = 1.5;
    float3 c = float3(2);
};
float mod(float a, float b) {
    return a - b * floor(a / b);
}
bool side(thread int& n) {
    n++;
    return true;
}
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    int z = int(u.frame);
    float fz = float(z); // zero at run time
    int bad = 0;
    int id = 0;
#define CHECK(c)                                                                                                       \
    do {                                                                                                               \
        id++;                                                                                                          \
        if (!(c) && bad == 0) bad = id;                                                                                \
    } while (false)
    H h = {};
    touch(h);
    CHECK(h.d == 3 && all(h.n == float3(3, 6, 6)));
    H hs[3];
    hs[1] = h;
    touch(hs[1 + z]);
    CHECK(hs[1].d == 6);
    float a = 1, b = 2;
    swap2(&a, &b);
    CHECK(a == 2 && b == 1);
    float v[4] = {1, 2, 3};
    swap2(v, v + 2);
    CHECK(v[0] == 3 && v[2] == 1);
    swap2(&v[z + 1], &v[3]);
    CHECK(v[1] == 0 && v[3] == 2);
    CHECK(sumv(v) == 6);
    CHECK(walk(v, 4) == 3012);
    CHECK(walk(v + 1, 2) == 1);
    CHECK(walk(&v[z + 2], 2) == 12);
    float x = 0, y = 0;
    CHECK(alias2(x, x) == 2);
    CHECK(alias2(x, y) == 1);
    CHECK(sw(z) == 3 && sw(1 + z) == 2 && sw(2 + z) == 5 && sw(3) == 5 && sw(7 + z) == 9);
    CHECK(early(37 + fz) == 307);
    CHECK(early(-5) == -1);
    U w;
    w.f = 1.0 + fz;
    CHECK(w.u == 0x3f800000u);
    w.b.w = uchar(0x40);
    CHECK(w.u == 0x40800000u && w.f == 4.0);
    R r(float3(fz), float3(1, 2, 3));
    CHECK(all(r.o == float3(1)));
    r.move(2);
    CHECK(all(r.o == float3(3, 5, 7)));
    r.me().o.x = 9;
    CHECK(r.o.x == 9 && r.at(1).y == 7);
    CHECK(rep<3>(2 + fz) == 16);
    C c = C{float2(1, 2)} * C{float2(3 + fz, 4)};
    CHECK(all(c.v == float2(-5, 10)));
    (c += c).v.x = 1;
    CHECK(all(c.v == float2(1, 20)));
    CHECK(ramp[z + 2].y == 4 && ramp[z].x == 1);
    CHECK(ramp[z + 9].z == 5);
    CHECK(ramp[z - 1].z == 5);
    L l;
    L m = {3.0};
    CHECK(l.power == 1.5 && m.power == 3 && m.c.y == 2);
    float3 q = float3(1, 2, 3) + fz;
    q.xz = q.zx;
    CHECK(all(q == float3(3, 2, 1)));
    q.zy += float2(10, 20);
    CHECK(all(q == float3(3, 22, 11)));
    q[z + 1] = 5;
    CHECK(q.y == 5);
    q.x++;
    CHECK(q.x++ == 4 && q.x == 5 && --q.x == 4);
    float2x2 t = float2x2(1, 2, 3, 4 + fz);
    CHECK(all(t * float2(1, 1) == float2(4, 6)));
    CHECK(all(float2(1, 1) * t == float2(3, 7)));
    t[1] = float2(5, 6);
    t[z][1] = 9;
    CHECK(t[0].y == 9 && t[1].x == 5);
    float2 tv = float2(1, 2);
    tv *= t;
    CHECK(all(tv == float2(19, 17)));
    float3x2 tm = float3x2(1, 2, 3, 4, 5, 6);
    CHECK(all(tm * float3(1, 1, 1 + fz) == float2(9, 12)));
    tm = tm + tm - tm / 2.0;
    CHECK(tm[2].y == 9);
    CHECK((-tm)[0].x == -1.5);
    int n = 0;
    bool e1 = (z == 0) || side(n);
    CHECK(n == 0);
    bool e2 = (z == 0) && side(n);
    CHECK(n == 1 && e1 && e2);
    int k = 0, s = 0;
    do {
        k++;
        if (k == 3) continue;
        s += k;
        if (k > 5) break;
    } while (k < 10);
    CHECK(k == 6 && s == 18);
    s = 0;
    for (int i = 0, j = 5; i < j; i++, j--)
        s += i * j;
    CHECK(s == 10);
    s = 0;
    for (float f = 0.; f < 1.0; f += 0.25)
        s++;
    CHECK(s == 4);
    while (true) {
        if (++s > 9) break;
    }
    CHECK(s == 10);
    s = 0;
    for (int i = 0; i < 4; i++) {
        switch (i) {
        case 1: continue;
        case 2: s += 10; break;
        default: s += 1;
        }
        s += 100;
    }
    CHECK(s == 312);
    uint hsh = 2654435769u + u.frame;
    hsh ^= hsh >> 16;
    hsh *= 0x85ebca6bu;
    CHECK(hsh == (2654435769u ^ (2654435769u >> 16)) * 0x85ebca6bu);
    CHECK((-7 + z) / 2 == -3 && (-7 + z) % 3 == -1);
    CHECK(int(-2.7 + fz) == -2 && uint(-1.0 + fz) == 0u);
    uchar uc = uchar(250 + z);
    uc += 10;
    CHECK(uc == 4);
    short sh = short(32767 + z);
    sh++;
    CHECK(sh == -32768);
    CHECK((1 << (z + 5)) == 32 && (-8 + z) >> 1 == -4);
    CHECK(mod(-1.5 + fz, 1.0) == 0.5 && fmod(-1.5 + fz, 1.0) == -0.5 && fract(-0.25 + fz) == 0.75);
    CHECK(abs(round(2.5 + fz) - 3) < .1 && rint(2.5 + fz) == 2 && trunc(-1.5 + fz) == -1);
    float wh;
    float fr = modf(3.25 + fz, wh);
    CHECK(wh == 3 && fr == .25);
    float co;
    float si = sincos(fz, co);
    CHECK(si == 0 && co == 1);
    int ex;
    float mant = frexp(8 + fz, ex);
    CHECK(mant == .5 && ex == 4);
    bool3 b3 = float3(1, 2, 3) + fz > float3(2);
    CHECK(!b3.x && !b3.y && b3.z && any(b3) && !all(b3));
    CHECK(all(select(float3(1), float3(2), b3) == float3(1, 1, 2)));
    CHECK((z > 0 ? 1.0 : 2.0) == 2.0);
    float3 ch = z > 0 ? float3(1) : float3(early(11));
    CHECK(ch.x == 101);
    half3 hh = half3(0.5h) * 3.0h + half(fz);
    CHECK(hh.y == 1.5h);
    float g2[2][3] = {{1, 2, 3}, {4, 5, 6}};
    CHECK(g2[z + 1][z + 2] == 6);
    g2[z][1] = 8;
    CHECK(g2[0][1] == 8);
    CHECK(sizeof(H) == 32 && sizeof(U) == 4);
    CHECK(as_type<uint>(1.0f + fz) == 0x3f800000u);
    CHECK(saturate(2.0 + fz) == 1 && clamp(-3 + z, -1, 1) == -1 && smoothstep(0., 1., .5 + fz) == .5 &&
          sign(-2. + fz) == -1);
    float aa, bb2, cc;
    aa = bb2 = cc = 2 + fz;
    aa += bb2 *= cc;
    CHECK(aa == 6 && bb2 == 4);
    CHECK((aa, bb2) == 4);
    return bad == 0 ? float4(0, 1, 0, 1) : float4(float(bad) / 255.0, 0, 0, 1);
}
